# Warnings are errors on every compiler and every target of the project.
add_library(kestrine_warnings INTERFACE)
if(MSVC)
  target_compile_options(kestrine_warnings INTERFACE /W4 /WX /permissive-)
else()
  target_compile_options(kestrine_warnings INTERFACE -Wall -Wextra -Werror)
endif()
if(WIN32)
  target_compile_definitions(kestrine_warnings INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0601)
endif()
