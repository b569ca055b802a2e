# What a Windows build adds, included once the library's target exists: one
# output folder, a self-contained runtime, and no benchmarks or fuzzers.

# The library and every program and test side by side, so that each program
# finds KlxCore.dll in its own folder (Windows and Wine search it first).
if(NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
set_target_properties(KlxCore PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

if(MINGW)
  # libstdc++, libgcc and winpthread linked in, so that no MinGW runtime DLL
  # has to be found at run time.
  target_link_options(KlxCore PRIVATE -static)
  add_link_options(-static)
endif()

# The fuzzers drive the POSIX host's layer; of the benchmarks, a Windows
# build has only its own timing program (bench/WindowsBench.cpp).
if(KLX_BUILD_FUZZ)
  message(STATUS "KlxCore: the fuzzers are built on Linux only")
endif()
set(KLX_BUILD_FUZZ OFF)
