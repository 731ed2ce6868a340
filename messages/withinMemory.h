#pragma once

#include <exception>

/// What `step()` gives; false if memory runs out in it, for nothing is thrown out of a message.
template <class Step>
bool withinMemory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {  // std::bad_alloc, std::length_error
    return false;
  }
}
