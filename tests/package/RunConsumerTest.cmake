# Installs the built library into a fresh prefix, then builds and runs a small
# consumer against it twice: through find_package and through pkg-config.
# Variables: KLX_BUILD_DIR, KLX_CONSUMER_DIR, KLX_WORK_DIR, KLX_GENERATOR; for
# a cross build also KLX_TOOLCHAIN_FILE, KLX_CXX (the cross compiler) and
# KLX_EMULATOR (what runs its programs, such as wine64); KLX_WINDOWS when the
# library is a DLL.

function(run_checked)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${KLX_WORK_DIR})
set(prefix ${KLX_WORK_DIR}/prefix)
run_checked(${CMAKE_COMMAND} --install ${KLX_BUILD_DIR} --prefix ${prefix})

foreach(header KLXConstants.h KLXStrProcess.h KLXFile.h KLXTextFile.h KLXRcFile.h KLXCmdLineParser.h)
  if(NOT EXISTS ${prefix}/include/${header})
    message(FATAL_ERROR "${header} was not installed")
  endif()
endforeach()

# find_package(KlxCore CONFIG REQUIRED) + KlxCore::KlxCore. A cross
# toolchain looks for packages only below its root paths: the prefix is one.
set(cross_arguments "")
if(KLX_TOOLCHAIN_FILE)
  set(cross_arguments -DCMAKE_TOOLCHAIN_FILE=${KLX_TOOLCHAIN_FILE} -DKLX_WINDOWS_DEPS=${prefix})
endif()
run_checked(${CMAKE_COMMAND} -S ${KLX_CONSUMER_DIR} -B ${KLX_WORK_DIR}/cmake-build -G ${KLX_GENERATOR}
            -DCMAKE_PREFIX_PATH=${prefix} ${cross_arguments})
run_checked(${CMAKE_COMMAND} --build ${KLX_WORK_DIR}/cmake-build)
run_checked(${KLX_EMULATOR} ${KLX_WORK_DIR}/cmake-build/consumer${KLX_EXE_SUFFIX})
if(NOT last_output MATCHES "consumer ok")
  message(FATAL_ERROR "the CMake consumer said: ${last_output}")
endif()

# pkg-config --cflags --libs KlxCore
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB_RECURSE pc_files ${prefix}/*/KlxCore.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run_checked(${PKG_CONFIG} --cflags --libs KlxCore)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
if(KLX_CXX)
  set(CXX ${KLX_CXX})
else()
  find_program(CXX NAMES c++ g++ clang++ REQUIRED)
endif()
set(consumer ${KLX_WORK_DIR}/pkgconfig-consumer${KLX_EXE_SUFFIX})
if(KLX_WINDOWS)
  # The DLL is found beside the program. The compiler's runtime goes inside
  # it, as the build links it, so that no MinGW DLL has to be found.
  file(GLOB_RECURSE dlls ${prefix}/*/KlxCore.dll)
  file(COPY ${dlls} DESTINATION ${KLX_WORK_DIR})
  run_checked(${CXX} -std=c++17 ${KLX_CONSUMER_DIR}/main.cpp ${flags} -static-libgcc
              -static-libstdc++ -Wl,-Bstatic,--whole-archive -lwinpthread
              -Wl,--no-whole-archive,-Bdynamic -o ${consumer})
else()
  file(GLOB_RECURSE libs ${prefix}/*/libKlxCore.so)
  list(GET libs 0 lib)
  get_filename_component(lib_dir ${lib} DIRECTORY)
  run_checked(${CXX} -std=c++17 ${KLX_CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${lib_dir}
              -o ${consumer})
endif()
run_checked(${KLX_EMULATOR} ${consumer})
if(NOT last_output MATCHES "consumer ok")
  message(FATAL_ERROR "the pkg-config consumer said: ${last_output}")
endif()
message(STATUS "package consumer ok")
