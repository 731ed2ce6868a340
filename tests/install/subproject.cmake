# Takes the source tree SOURCE into another project, in SCRATCH, as the guides show it, and compiles
# that project's own file with COMPILER. Its libraries are the same as those of this build.

file(REMOVE_RECURSE ${SCRATCH})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/subproject/ ${SOURCE}/examples/panel.cpp DESTINATION ${SCRATCH})
file(CREATE_LINK ${SOURCE} ${SCRATCH}/nkProtocol SYMBOLIC)
execute_process(COMMAND ${CMAKE_COMMAND} -G Ninja -S ${SCRATCH} -B ${SCRATCH}/build
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${SCRATCH}/build
  --target CMakeFiles/panel.dir/panel.cpp.o COMMAND_ERROR_IS_FATAL ANY)
