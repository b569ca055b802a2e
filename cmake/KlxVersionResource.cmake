# Gives a module a VERSIONINFO resource made from the project version, the
# same tree on every host: a Windows build compiles a resource script
# generated from KlxVersion.rc.in with the RC language (windres under
# MinGW-w64, rc under MSVC); other hosts' modules carry the tree in their
# section ".klxversion", written at build time by tools/version.
#
#   klx_version_resource(TARGET FILE_TYPE VFT_APP|VFT_DLL STRING_TABLE 040904b0
#                        ORIGINAL_FILENAME NAME STRINGS NAME VALUE [NAME VALUE]...)
#
# STRINGS are the string table's entries in their order; the file and product
# version words are MAJOR,MINOR,PATCH,0.
if(WIN32)
  enable_language(RC)
elseif(NOT TARGET klx_version_info_source)
  add_executable(klx_version_info_source ${PROJECT_SOURCE_DIR}/tools/version/VersionInfoSource.cpp)
  # It builds the tree with the library's own header-only builder.
  target_include_directories(klx_version_info_source PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(klx_version_info_source PRIVATE klx_warnings)
endif()

function(klx_version_resource target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FILE_TYPE;STRING_TABLE;ORIGINAL_FILENAME" "STRINGS")
  if(NOT WIN32)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}Version.cpp)
    add_custom_command(OUTPUT ${source}
      COMMAND klx_version_info_source ${source} ${arg_FILE_TYPE}
              ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}
              ${arg_STRING_TABLE} ${arg_STRINGS}
      DEPENDS klx_version_info_source
      COMMENT "Version resource of ${arg_ORIGINAL_FILENAME}"
      VERBATIM)
    target_sources(${target} PRIVATE ${source})
    return()
  endif()
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
