# Installs the build tree BUILD under a prefix in SCRATCH and moves the prefix, or takes PREFIX as it
# is; then builds and runs a program against it in both ways, with find_package and with pkg-config,
# using COMPILER; and, for another processor than this one, TOOLCHAIN and EMULATOR.

set(outside ${CMAKE_CURRENT_LIST_DIR}/consumer)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${SCRATCH})
set(prefix ${PREFIX})
if(NOT PREFIX)
  set(prefix "${SCRATCH}/moved prefix")
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${SCRATCH}/prefix)
  file(GLOB units ${SCRATCH}/prefix/lib/systemd/system/*)
  foreach(unit ${units})
    file(READ ${unit} text)
    string(REGEX MATCH "\nExecStart=([^ ]*)" start "${text}")
    if(NOT EXISTS "${CMAKE_MATCH_1}")
      message(FATAL_ERROR "${unit} starts no program that was installed: ${CMAKE_MATCH_1}")
    endif()
  endforeach()
  file(RENAME ${SCRATCH}/prefix ${prefix})
endif()

run(${CMAKE_COMMAND} -G Ninja -S ${outside} -B ${SCRATCH}/build -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
run(${CMAKE_COMMAND} --build ${SCRATCH}/build)
run(${EMULATOR} ${SCRATCH}/build/consumer)

file(GLOB_RECURSE package ${prefix}/nkProtocol.pc)
cmake_path(GET package PARENT_PATH packages)
set(ENV{PKG_CONFIG_PATH} ${packages})
# pkg-config puts a backslash before each blank, as a shell would want it.
foreach(asked "--cflags --libs" --variable=runpath)
  separate_arguments(words UNIX_COMMAND ${asked})
  execute_process(COMMAND pkg-config ${words} nkProtocol
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(answer UNIX_COMMAND ${answer})
  list(APPEND options ${answer})
endforeach()
run(${COMPILER} -std=c++20 ${outside}/consumer.cpp -o ${SCRATCH}/consumer ${options})
run(${EMULATOR} ${SCRATCH}/consumer)

# With an older standard the first error names the flag that is missing.
execute_process(COMMAND ${COMPILER} -std=c++17 -fsyntax-only ${outside}/consumer.cpp ${options}
  RESULT_VARIABLE status ERROR_VARIABLE errors)
string(REGEX MATCH "error: [^\n]*" first "${errors}")
if(status EQUAL 0 OR NOT first MATCHES "compile with -std=c\\+\\+20")
  message(FATAL_ERROR "C++17 should be refused with a word about -std=c++20: ${status}, ${errors}")
endif()
