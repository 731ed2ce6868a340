# Debian packages from the components that cmake/install.cmake and the programs install into:
# `cpack` in a build directory of the preset `package`, or `./dev package`, which also tries them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development documents)
if(NK_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_VENDOR nkProtocol)
set(NK_PACKAGE_CONTACT "nkProtocol authors <root@localhost>" CACHE STRING
  "Name and address of who answers for the packages")
set(CPACK_PACKAGE_CONTACT ${NK_PACKAGE_CONTACT})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/compressDocuments.cmake)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/support)

# nk_deb(COMPONENT NAME SECTION SUMMARY DESCRIPTION): the name of a component's package, and what
# describes it. Every package has the changelog and says whose work it is.
macro(nk_deb component name section summary description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}")
  install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
    COMPONENT ${component} EXCLUDE_FROM_ALL RENAME changelog)
  install(FILES cmake/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endmacro()

# One major version, one package: programs linked with different ones can be installed together.
set(libraryPackage libnkprotocol${PROJECT_VERSION_MAJOR})
nk_deb(library ${libraryPackage} libs
  "protocol between a control station and display panels"
  "Telegrams over any byte stream, and the typed messages in them, for stations\nand for panels. These are the shared libraries that programs load.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)

nk_deb(development libnkprotocol-dev libdevel
  "protocol between station and display panels, for development"
  "Headers of libnkProtocol and libnkSupport, and what CMake's find_package and\npkg-config find them by.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${libraryPackage} (= ${PROJECT_VERSION})")

nk_deb(documents nkprotocol-doc doc
  "protocol between station and display panels, documents"
  "The wire format, the architecture, the programs, and examples.")
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_ARCHITECTURE all)

nk_deb(tools nkprotocol-tools net
  "protocol between station and display panels, programs"
  "A station on the command line, a simulated panel with its service, a bad line\nbetween the two, an explainer of what passes, and a dissector for Wireshark.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${libraryPackage} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "tshark, wireshark")

include(CPack)
