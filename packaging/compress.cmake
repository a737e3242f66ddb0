# Manual pages are compressed in a package; run by cpack between its two steps.
file(GLOB_RECURSE files "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9]")
foreach(page IN LISTS files)
  if(page MATCHES "/share/man/")
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
