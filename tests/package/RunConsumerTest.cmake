# Installs the built library into a fresh prefix, then builds and runs a small
# consumer against it twice: through find_package and through pkg-config.
# Variables: KLX_BUILD_DIR, KLX_CONSUMER_DIR, KLX_WORK_DIR, KLX_GENERATOR.

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

# find_package(KlxCore CONFIG REQUIRED) + KlxCore::KlxCore
run_checked(${CMAKE_COMMAND} -S ${KLX_CONSUMER_DIR} -B ${KLX_WORK_DIR}/cmake-build -G ${KLX_GENERATOR}
            -DCMAKE_PREFIX_PATH=${prefix})
run_checked(${CMAKE_COMMAND} --build ${KLX_WORK_DIR}/cmake-build)
run_checked(${KLX_WORK_DIR}/cmake-build/consumer)
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
find_program(CXX NAMES c++ g++ clang++ REQUIRED)
file(GLOB_RECURSE libs ${prefix}/*/libKlxCore.so)
list(GET libs 0 lib)
get_filename_component(lib_dir ${lib} DIRECTORY)
run_checked(${CXX} -std=c++17 ${KLX_CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${lib_dir}
            -o ${KLX_WORK_DIR}/pkgconfig-consumer)
run_checked(${KLX_WORK_DIR}/pkgconfig-consumer)
if(NOT last_output MATCHES "consumer ok")
  message(FATAL_ERROR "the pkg-config consumer said: ${last_output}")
endif()
message(STATUS "package consumer ok")
