#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "nkProtocol/message.h"
#include "nkSupport/tLog.h"
#include "nkSupport/tTime.h"

namespace {

// The place of a virtual function in its table. Itanium C++ ABI: a pointer to it holds its offset,
// plus 1 but on ARM; destructors take two places.
template <typename tFunction>
unsigned int place(tFunction function) {
  std::uintptr_t offset = 0;
  std::memcpy(&offset, &function, sizeof offset);
  return static_cast<unsigned int>(offset / sizeof(void*));
}

// Programs overload these, and were built with the tables as they stood then.
TEST(VirtualFunctions, KeepTheirPlaces) {
  struct {
    char const* name;
    unsigned int place, expected;
  } const rows[] = {
      {"nk_message::serialize", place(&nk_message::serialize), 0},
      {"nk_message::serializeToJson", place(&nk_message::serializeToJson), 3},
      {"nk_message::serializeFromJson", place(&nk_message::serializeFromJson), 4},
      {"tLog::log", place(&tLog::log), 0},
      {"tClock::now", place(&tClock::now), 2},
      {"tClock::sleep", place(&tClock::sleep), 3},
  };
  for (auto const& row : rows) EXPECT_EQ(row.place, row.expected) << row.name;
}

}  // namespace
