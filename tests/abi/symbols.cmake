# Holds what LIBRARY exports against the list LIST, and tells what changed; with KEEP writes the list
# instead. Of tables of virtual functions the list has the size too, which tells of functions added.

execute_process(COMMAND nm --dynamic --defined-only --print-size --format=posix ${LIBRARY}
  OUTPUT_VARIABLE lines COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" lines "${lines}")
string(REPLACE "\n" ";" lines "${lines}")
set(symbols "")
foreach(line ${lines})
  string(REGEX REPLACE " .*" "" symbol "${line}")
  if(line MATCHES "^_ZTV[^ ]+ [^ ]+ [^ ]+ ([^ ]+)")
    math(EXPR size "0x${CMAKE_MATCH_1}")
    string(APPEND symbol " ${size}")
  endif()
  list(APPEND symbols "${symbol}")
endforeach()
list(SORT symbols)

if(KEEP)
  string(REPLACE ";" "\n" text "${symbols}")
  file(WRITE ${LIST} "${text}\n")
  return()
endif()

# Prints those of `these` that are not among `others`, in readable form.
function(tell title these others)
  list(REMOVE_ITEM these ${others})
  if(these)
    string(REPLACE ";" "\n" text "${these}")
    file(WRITE ${SCRATCH} "${text}\n")
    execute_process(COMMAND c++filt INPUT_FILE ${SCRATCH} OUTPUT_VARIABLE text)
    message("${title}:\n${text}")
  endif()
endfunction()

file(STRINGS ${LIST} kept)
if(NOT kept STREQUAL symbols)
  tell("no longer exported, or another size of a table of virtual functions" "${kept}" "${symbols}")
  tell("exported and not listed" "${symbols}" "${kept}")
  message(FATAL_ERROR "${LIST} lists other symbols. CONTRIBUTING.md says which changes need another "
    "major version; `./dev abi keep` writes the lists.")
endif()
