# Run by `cmake --install` and cpack: writes the units of nkdevice, for one panel and for several,
# from their common text.

# Packages are made in a directory of cpack's and unpacked under /usr.
set(prefix ${CMAKE_INSTALL_PREFIX})
if(prefix MATCHES "/_CPack_Packages/")
  set(prefix /usr)
endif()
cmake_path(ABSOLUTE_PATH NK_BINDIR BASE_DIRECTORY ${prefix} NORMALIZE)

set(NK_UNIT_NAME nkdevice)
set(NK_UNIT_WHAT "The simulated panel as a service")
set(NK_UNIT_TITLE "")
set(NK_UNIT_SUFFIX "")
set(NK_UNIT_OPTIONAL "-")
set(NK_UNIT_DEFAULTS
  "Environment=\"NKDEVICE_OPTIONS=--link tcp://127.0.0.1:7000 --address 2\"\n")
configure_file(${NK_UNITS_FROM}/nkdevice.service.in ${NK_UNITS_TO}/nkdevice.service @ONLY)

# Two panels need a link each, so there are no defaults for them.
set(NK_UNIT_NAME nkdevice@NAME)
set(NK_UNIT_WHAT "One of several simulated panels as services")
set(NK_UNIT_TITLE ": %i")
set(NK_UNIT_SUFFIX "-%i")
set(NK_UNIT_OPTIONAL "")
set(NK_UNIT_DEFAULTS "")
configure_file(${NK_UNITS_FROM}/nkdevice.service.in ${NK_UNITS_TO}/nkdevice@.service @ONLY)
