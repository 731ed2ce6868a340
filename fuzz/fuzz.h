#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nkSupport/tBlob.h"

/// One input of a target, from clang's fuzzer or replay.cpp. Returns 0; a fault ends the program.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size);

namespace fuzz {

/// Ends the program, so that the input counts as a crash, if a stated property does not hold.
inline void require(bool holds, char const* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

/// Cuts a borrowed input into what a target asks for; zeros stand behind its end.
class tInput {
 public:
  tInput(unsigned char const* data, std::size_t size)
      : m_next(data), m_left(static_cast<unsigned int>(size)) {}

  bool empty() const { return m_left == 0; }
  template <class Number>
  Number number() {
    tBlob const taken = bytes(sizeof(Number));
    Number value{};
    if (!taken.empty()) std::memcpy(&value, taken.data(), taken.size());
    return value;
  }
  /// 0 to `limit` - 1, from one byte.
  unsigned int below(unsigned int limit) { return number<unsigned char>() % limit; }
  template <class T, std::size_t count>
  T oneOf(T const (&choices)[count]) {
    return choices[below(static_cast<unsigned int>(count))];
  }
  /// The next bytes; fewer at the end.
  tBlob bytes(unsigned int count) {
    if (count > m_left) count = m_left;
    tBlob taken(m_next, count);
    m_next += count;
    m_left -= count;
    return taken;
  }

 private:
  unsigned char const* m_next;
  unsigned int m_left;
};

/// Runs a story over one input: it begins, goes on until the input is used up, and finishes.
template <class tStory>
int tell(unsigned char const* data, std::size_t size) {
  tInput input(data, size);
  tStory story(input);
  while (!input.empty()) story.goOn(input);
  story.finish();
  return 0;
}

}  // namespace fuzz
