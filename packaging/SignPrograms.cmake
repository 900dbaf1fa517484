# Run by CPack after packaging/SplitDebugInfo.cmake, before it packs: when a signing certificate
# is given (KESTRINE_SIGN_PFX or KESTRINE_SIGN_CERT in the environment, as scripts/sign-release.sh
# sets them), the stripped programs of CPACK_KESTRINE_PROGRAMS are signed by that script, so
# that the package holds signed programs. Without one they are packed unsigned, and it says so.
if("$ENV{KESTRINE_SIGN_PFX}$ENV{KESTRINE_SIGN_CERT}" STREQUAL "")
  message(STATUS "programs not signed: no certificate given (scripts/sign-release.sh)")
  return()
endif()
set(programs ${CPACK_KESTRINE_PROGRAMS})
list(TRANSFORM programs PREPEND ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/)
execute_process(COMMAND bash ${CPACK_KESTRINE_SIGN_SCRIPT} --files ${programs} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "signing the programs failed (${status})")
endif()
