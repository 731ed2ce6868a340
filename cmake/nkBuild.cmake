# How every target of this project is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()
# The few kernels that every byte of the link passes through ask for -O3 themselves; elsewhere it
# would only make the libraries larger, and panels have little room. Flags set by hand are kept.
if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
endif()
# Installed programs find the libraries beside them, wherever the prefix is moved to.
file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/${libraries}")

# 64-bit time and file offsets on 32-bit platforms too.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
# Warnings are errors here, not for a project that takes this one in: its compiler may be newer.
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ${PROJECT_IS_TOP_LEVEL})
endif()
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-Wthread-safety)
else()
  # gcc 12 sees overlapping copies inside std::string that are not there (GCC bug 105651).
  add_compile_options(-Wno-restrict)
  # On 32-bit ARM it tells of values that gcc 7 handed over otherwise; none crosses an interface.
  add_compile_options(-Wno-psabi)
endif()

# Where faults are looked for, an index out of range stops the program.
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(NK_SANITIZE MATCHES thread AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # Asio has fences, which gcc's thread sanitizer does not follow; all that threads share of asio
  # here is the queue of an io_context, which a mutex guards.
  add_compile_options(-Wno-tsan)
endif()
if(NK_SANITIZE)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  add_compile_options(-fsanitize=${NK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NK_SANITIZE})
endif()
if(NK_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/ignored.txt)
endif()
if(NK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(NK_COVERAGE)
  # Counted right in programs of several threads too.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# SONAME and export map of one of the two shared libraries; cmake/install.cmake installs them.
function(nk_shared_library target)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${target}.map)
  add_library(nkProtocol::${target} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS ${map})
  target_compile_features(${target} PUBLIC cxx_std_20)
  # Calls inside a library need not go through the tables by which another library could replace
  # the function called, and may be inlined.
  target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  target_link_options(${target} PRIVATE LINKER:--version-script=${map}
    LINKER:-Bsymbolic-functions LINKER:--as-needed)
  if(NOT NK_SANITIZE)
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()
