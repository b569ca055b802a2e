# Gives a Windows target a VERSIONINFO resource made from the project version:
# a resource script generated from KlxVersion.rc.in and compiled with the RC
# language (windres under MinGW-w64, rc under MSVC).
#
#   klx_version_resource(TARGET FILE_TYPE VFT_APP|VFT_DLL STRING_TABLE 040904b0
#                        ORIGINAL_FILENAME NAME STRINGS NAME VALUE [NAME VALUE]...)
#
# STRINGS are the string table's entries in their order; the file and product
# version words are MAJOR,MINOR,PATCH,0. The POSIX build writes the same tree
# itself (tools/version/VersionInfoSource.cpp, src/version/SelfVersionInfo.cpp),
# so the two builds report the same values.
function(klx_version_resource target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FILE_TYPE;STRING_TABLE;ORIGINAL_FILENAME" "STRINGS")
  set(KLX_RC_VERSION_WORDS
      "${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0")
  set(KLX_RC_FILE_TYPE ${arg_FILE_TYPE})
  set(KLX_RC_STRING_TABLE ${arg_STRING_TABLE})
  set(KLX_RC_ORIGINAL_FILENAME ${arg_ORIGINAL_FILENAME})
  set(KLX_RC_STRINGS "")
  list(LENGTH arg_STRINGS count)
  math(EXPR last "${count} - 1")
  foreach(at RANGE 0 ${last} 2)
    math(EXPR next "${at} + 1")
    list(GET arg_STRINGS ${at} name)
    list(GET arg_STRINGS ${next} value)
    string(REPLACE "\"" "\"\"" value "${value}")
    string(APPEND KLX_RC_STRINGS "      VALUE \"${name}\", \"${value}\"\n")
  endforeach()
  string(REGEX REPLACE "\n$" "" KLX_RC_STRINGS "${KLX_RC_STRINGS}")
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}Version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/KlxVersion.rc.in ${script} @ONLY)
  target_sources(${target} PRIVATE ${script})
endfunction()
