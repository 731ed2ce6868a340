# What `cmake --install` puts under a prefix: both libraries, their headers, the programs, and what
# other projects find them by, CMake's find_package(nkProtocol) or pkg-config.

include(CMakePackageConfigHelpers)

# Components are what ./dev package makes packages of.
install(TARGETS nkProtocol nkSupport EXPORT nkProtocol
  LIBRARY COMPONENT library NAMELINK_COMPONENT development)
foreach(program nkctl nkdevice nkchaos nkexplain)
  if(TARGET ${program})
    install(TARGETS ${program} COMPONENT tools)
  endif()
endforeach()
foreach(headers include/nkProtocol support/include/nkSupport)
  install(DIRECTORY ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
endforeach()
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
# Not what only this tree's own build and tests run.
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents
  PATTERN CMakeLists.txt EXCLUDE PATTERN Doxyfile EXCLUDE PATTERN rows.awk EXCLUDE
  PATTERN documents.py EXCLUDE PATTERN exchange.py EXCLUDE)

# The libraries need no package beyond themselves, so the list of targets is the whole package file.
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/nkProtocol)
install(EXPORT nkProtocol FILE nkProtocolConfig.cmake NAMESPACE nkProtocol::
  DESTINATION ${packageDir} COMPONENT development)
# The same promise as the SONAME: one major version, one binary interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nkProtocolConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nkProtocolConfigVersion.cmake DESTINATION ${packageDir}
  COMPONENT development)

# Paths in a .pc file start from the file itself, so that a prefix can be moved.
function(nk_pkg_config library description requires)
  set(directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE toPrefix)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${PROJECT_BINARY_DIR}/${library}.pc
    @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${directory} COMPONENT development)
endfunction()
nk_pkg_config(nkSupport "Texts, blobs, JSON, coding and compression under libnkProtocol" "")
nk_pkg_config(nkProtocol "Telegrams and messages between a station and display panels"
  "nkSupport = ${PROJECT_VERSION}")

if(PROJECT_IS_TOP_LEVEL)
  include(package)
endif()
