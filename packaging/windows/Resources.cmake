# kestrine_add_windows_resources(TARGET DESCRIPTION): gives a Windows program its version
# resource (product, file and product version, company, copyright, original file name) and the
# application manifest packaging/windows/kestrine.manifest. The version comes from project().
function(kestrine_add_windows_resources target description)
  set(KESTRINE_RC_TARGET ${target})
  set(KESTRINE_RC_FILE_NAME ${target}.exe)
  set(KESTRINE_RC_DESCRIPTION "${description}")
  set(KESTRINE_RC_MANIFEST ${PROJECT_SOURCE_DIR}/packaging/windows/kestrine.manifest)
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/version.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
  # windres does not see the manifest as a dependency of the resource script.
  set_source_files_properties(${rc} PROPERTIES OBJECT_DEPENDS ${KESTRINE_RC_MANIFEST})
endfunction()
