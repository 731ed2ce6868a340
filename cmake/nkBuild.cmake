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

# 64-bit time and file offsets on 32-bit platforms too.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-Wthread-safety)
else()
  # gcc 12 sees overlapping copies inside std::string that are not there (GCC bug 105651).
  add_compile_options(-Wno-restrict)
endif()

if(NK_SANITIZE)
  add_compile_options(-fsanitize=${NK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NK_SANITIZE})
endif()

# SONAME, export map and install rules of one of the two shared libraries.
function(nk_shared_library target)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${target}.map)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map})
  target_link_options(${target} PRIVATE LINKER:--version-script=${map})
  if(NOT NK_SANITIZE)
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()
