# Only the exported classes and constants are visible in the shared library:
# the platform layer, libxml2 and other internals stay hidden.
# Variables: KLX_LIBRARY (the built library) and KLX_NM (the nm program) for
# an ELF library, or KLX_OBJDUMP (binutils' objdump) for a DLL, whose export
# table it reads.

if(KLX_OBJDUMP)
  string(REGEX REPLACE "objdump([^/]*)$" "c++filt\\1" filt "${KLX_OBJDUMP}")
  execute_process(COMMAND ${KLX_OBJDUMP} -p ${KLX_LIBRARY} COMMAND ${filt}
                  RESULT_VARIABLE result OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
else()
  execute_process(COMMAND ${KLX_NM} -D -C --defined-only ${KLX_LIBRARY}
                  RESULT_VARIABLE result OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
endif()
if(NOT result EQUAL 0)
  message(FATAL_ERROR "listing the exports failed: ${err}")
endif()

foreach(wanted "KLX_STR_ENV_VAR_PATH" "KLX_STR_EMPTY" "KLXStrProcess::findTemplate"
               "KLXFile::read" "KLXTextFile::findLine" "KLXRcFile::getValue"
               "KLXCmdLineParser::registerStringOption" "KLXSystem::mTheEmptyString"
               "KLXCorvaleSettings::mOSBaseBand" "KLXTextFile::mLineBreakWin")
  string(FIND "${symbols}" "${wanted}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${wanted} is not exported")
  endif()
endforeach()

foreach(hidden "klx::platform" "LineBreakScanner" "xmlFreeDoc")
  string(FIND "${symbols}" "${hidden}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${hidden} is exported but must stay hidden")
  endif()
endforeach()
message(STATUS "exports ok")
