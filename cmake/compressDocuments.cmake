# Run by cpack on what is about to be packed: Debian wants manual pages and changelogs compressed.
file(GLOB_RECURSE documents ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/man/man1/*.1
  ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/doc/*/changelog)
foreach(document ${documents})
  execute_process(COMMAND gzip -9n ${document} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
