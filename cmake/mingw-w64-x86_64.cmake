# Cross-builds for 64-bit Windows with MinGW-w64 (the POSIX thread model of
# Debian's g++-mingw-w64-x86-64-posix) and runs what it builds under wine64.
#
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DKLX_WINDOWS_DEPS=DIR/deps ...
#
# KLX_WINDOWS_DEPS (or the environment variable of that name) is the prefix of
# the dependencies cross-built for Windows (libxml2, GoogleTest); libraries,
# headers and packages are looked up only there and in the MinGW-w64 sysroot,
# never among the host's.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KLX_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KLX_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KLX_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${KLX_MINGW_TRIPLET}-windres)

# Debian's wine64 package puts the loader outside PATH; the wine package adds
# a wrapper in /usr/bin.
find_program(KLX_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(KLX_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KLX_WINE64})
endif()

if(NOT KLX_WINDOWS_DEPS AND DEFINED ENV{KLX_WINDOWS_DEPS})
  set(KLX_WINDOWS_DEPS $ENV{KLX_WINDOWS_DEPS})
endif()
# try_compile projects read this file again: hand them the same prefix.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KLX_WINDOWS_DEPS)

set(CMAKE_FIND_ROOT_PATH /usr/${KLX_MINGW_TRIPLET} ${KLX_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The toolchain's runtime DLLs (libstdc++, libgcc, winpthread) are not on
# Wine's search path, so everything built with it carries them inside.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
