# The warning flags of every target of the project. Warnings are errors in the presets and in
# CI (KESTRINE_WERROR on); a plain build leaves them warnings, so that a packager's newer
# compiler with a new warning still builds.
option(KESTRINE_WERROR "Treat compiler warnings as errors" OFF)
add_library(kestrine_warnings INTERFACE)
if(MSVC)
  target_compile_options(kestrine_warnings INTERFACE /W4 /permissive- $<$<BOOL:${KESTRINE_WERROR}>:/WX>)
else()
  target_compile_options(kestrine_warnings INTERFACE -Wall -Wextra $<$<BOOL:${KESTRINE_WERROR}>:-Werror>)
endif()
if(WIN32)
  target_compile_definitions(kestrine_warnings INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0601)
endif()
