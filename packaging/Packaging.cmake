# cmake --install puts the programs with their documentation into the install tree, and cpack
# packs that tree: on Windows kestrine-<version>-win64.zip, with the programs stripped and
# their symbols in .debug files beside the package (packaging/SplitDebugInfo.cmake).
# Windows: the programs, the license, the README for Windows users and docs/ at the top of the
# tree (kestrine-peer.exe starts the kestrine.exe beside it). Linux: bin/ with the sim's control
# program as well, and share/doc/kestrine (the README with docs/ beside it).
include(GNUInstallDirs)

set(KESTRINE_DOCUMENTS
  docs/peer-protocol.md
  docs/display-state-document.md
  docs/display-state-document.schema.json
  docs/logging.md
  docs/windows-deployment.md)
list(TRANSFORM KESTRINE_DOCUMENTS PREPEND ${PROJECT_SOURCE_DIR}/)

if(WIN32)
  set(kestrine_programs kestrine kestrine-peer)
  set(kestrine_program_dir .)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/packaging/windows/README.md
          DESTINATION .)
  install(FILES ${KESTRINE_DOCUMENTS} DESTINATION docs)
else()
  set(kestrine_programs kestrine kestrine-peer kestrine-sim)
  set(kestrine_program_dir ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE
          DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES ${KESTRINE_DOCUMENTS} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
endif()
install(TARGETS ${kestrine_programs} RUNTIME DESTINATION ${kestrine_program_dir})

set(CPACK_PACKAGE_NAME kestrine)
set(CPACK_PACKAGE_VENDOR "${KESTRINE_COMPANY}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${KESTRINE_PRODUCT}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_SYSTEM_NAME ${CMAKE_SYSTEM_NAME})
endif()
set(CPACK_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}-${CPACK_SYSTEM_NAME})
# Read by packaging/SplitDebugInfo.cmake, which CPack runs before it packs.
set(CPACK_KESTRINE_OBJCOPY ${CMAKE_OBJCOPY})
set(CPACK_KESTRINE_STRIP ${CMAKE_STRIP})
set(CPACK_KESTRINE_PROGRAMS ${kestrine_programs})
list(TRANSFORM CPACK_KESTRINE_PROGRAMS PREPEND ${kestrine_program_dir}/)
list(TRANSFORM CPACK_KESTRINE_PROGRAMS APPEND "${CMAKE_EXECUTABLE_SUFFIX}")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/SplitDebugInfo.cmake)
# Windows programs are signed after stripping (which would drop a signature), before packing.
if(WIN32)
  set(CPACK_KESTRINE_SIGN_SCRIPT ${PROJECT_SOURCE_DIR}/scripts/sign-release.sh)
  list(APPEND CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/SignPrograms.cmake)
endif()
include(CPack)
