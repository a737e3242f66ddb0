# Manual pages are compressed in a package; run by cpack between its two steps.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*/share/man/man?/*.[1-9])
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
