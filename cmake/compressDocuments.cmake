# Run by cpack on what is about to be packed: Debian wants manual pages and changelogs compressed.
file(GLOB_RECURSE documents ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
list(FILTER documents INCLUDE REGEX "/man/man1/[^/]*\\.1$|/doc/[^/]*/changelog$")
if(NOT documents)
  message(FATAL_ERROR "there is neither a manual page nor a changelog to compress")
endif()
foreach(document ${documents})
  execute_process(COMMAND gzip -9n ${document} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
