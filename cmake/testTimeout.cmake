# Sets patience, the longest that a test waits for one thing, and testTimeout, the seconds that ctest
# grants a whole test: several times as long, so that a test which waits in vain can say for what.
set(header ${PROJECT_SOURCE_DIR}/tests/harness/system.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
file(STRINGS ${header} patience REGEX "seconds patience{[0-9]+};")
string(REGEX REPLACE ".*{([0-9]+)}.*" "\\1" patience "${patience}")
math(EXPR testTimeout "5 * ${patience}")
