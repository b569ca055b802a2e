# Only the exported classes and constants are visible in the shared library:
# the platform layer and other internals stay hidden.
# Variables: KLX_LIBRARY (the built library), KLX_NM (the nm program).

execute_process(COMMAND ${KLX_NM} -D -C --defined-only ${KLX_LIBRARY}
                RESULT_VARIABLE result OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed: ${err}")
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

foreach(hidden "klx::platform" "LineBreakScanner")
  string(FIND "${symbols}" "${hidden}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${hidden} is exported but must stay hidden")
  endif()
endforeach()
message(STATUS "exports ok")
