#pragma once

#include <exception>

#include "nkProtocol/serializer.h"
#include "nkSupport/tString.h"

/// Returns what `step()` returns, or false if it throws: no exception leaves the library.
template <class Step>
bool withinMemory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {  // std::bad_alloc, std::length_error
    return false;
  }
}

/// Returns the text that `step()` returns, or an empty one if it throws.
template <class Step>
tString textWithinMemory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {
    return {};
  }
}

/// The same, and an exception makes `ser.lackedMemory()` true.
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
