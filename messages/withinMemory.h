#pragma once

#include <exception>

#include "nkProtocol/serializer.h"
#include "nkSupport/tString.h"

/// What `step()` gives; false if memory runs out in it, for nothing is thrown out of a message.
template <class Step>
bool withinMemory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {  // std::bad_alloc, std::length_error
    return false;
  }
}

/// The text that `step()` gives; empty if memory runs out in it.
template <class Step>
tString textWithinMemory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {
    return {};
  }
}

/// withinMemory for what passes through `ser`, which takes note.
template <class Step>
bool withinMemory(nk_serializer& ser, Step step) {
  bool passed = false;
  bool const enough = withinMemory([&] {
    passed = step();
    return true;
  });
  if (!enough) ser.noteLackOfMemory();
  return passed;
}
