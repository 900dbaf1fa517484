# Run by CPack between installing into its staging tree and packing it. Each program of
# CPACK_KESTRINE_PROGRAMS is stripped; its symbols go to PROGRAM.debug in the package's output
# directory, beside the package, and a .gnu_debuglink section in the program names that file
# (with its checksum), so a debugger finds them when the .debug file lies beside the program.
# Prints each size before and after stripping.
function(kestrine_run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status ERROR_VARIABLE error)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${status}): ${error}")
  endif()
endfunction()

foreach(relative IN LISTS CPACK_KESTRINE_PROGRAMS)
  set(program ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${relative})
  get_filename_component(name ${program} NAME)
  set(symbols ${CPACK_PACKAGE_DIRECTORY}/${name}.debug)
  file(SIZE ${program} before)
  kestrine_run(${CPACK_KESTRINE_OBJCOPY} --only-keep-debug ${program} ${symbols})
  kestrine_run(${CPACK_KESTRINE_STRIP} --strip-all ${program})
  # objcopy reads the .debug file for its checksum and records only its file name.
  kestrine_run(${CPACK_KESTRINE_OBJCOPY} --add-gnu-debuglink=${symbols} ${program})
  file(SIZE ${program} after)
  message(STATUS "${name}: ${before} bytes before stripping, ${after} after; symbols in ${symbols}")
endforeach()
