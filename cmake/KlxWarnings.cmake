# Warnings for the project's own targets; never exported to consumers.
add_library(klx_warnings INTERFACE)
if(MSVC)
  target_compile_options(klx_warnings INTERFACE /W4 /WX)
else()
  target_compile_options(klx_warnings INTERFACE -Wall -Wextra -Werror)
endif()
