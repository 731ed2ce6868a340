#include "nkProtocol/message.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "harness/hex.h"
#include "harness/logHook.h"
#include "nkProtocol/controlMessages.h"
#include "reading.h"

namespace {

using harness::hex;

TEST(Message, TheFactoryRefusesWhatHasNoClass) {
  std::pair<char const*, char const*> const rows[] = {
      {"", ""},
      {"0b 00 00", ""},
      {"00 00 00 00", "!!!!! TODO !!!!!, unhandled message type: 0 (version 0)"},
      {"1b 00 ff ff", "!!!!! TODO !!!!!, unhandled message type: 27 (version 65535)"},
      {"1e 00 00 00", "!!!!! TODO !!!!!, unhandled message type: 30 (version 0)"},
  };
  for (auto const& [bytes, printed] : rows) {
    tBlob blob = hex(bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(nk_message::getMessage(&blob), nullptr);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
  }
  EXPECT_EQ(nk_message::getMessage(nullptr), nullptr);
}

TEST(Message, NamesItsTypes) {
  for (auto const& [type, name] : {std::pair{0, "invalid"},
                                   {10, "SET_SCHEDULES_RSP"},
                                   {16, "TAVO_AUTHORIZE_REQ"},
                                   {29, "GENERIC_RSP"},
                                   {30, "invalid"}}) {
    EXPECT_EQ(nk_message::typeName(nk_message::teType(type)), name);
  }
  EXPECT_EQ(nk_messageShutdown(nk_message::VERSION_0).typeName(), "SHUTDOWN");
}

TEST(Message, TheChecksumOfIdsIsThatOfTheirSet) {
  using tIds = std::vector<unsigned long long>;
  for (auto const& [ids, digits] : {std::pair<tIds, std::string>{{}, ""},
                                    {{5, 3, 5}, "35"},
                                    {{1, 23}, "123"},
                                    {{1ULL << 63, 2}, "29223372036854775808"}}) {
    EXPECT_EQ(nk_message::vectorU64Checksum(ids), sha1Of(digits.data(), digits.size())) << digits;
  }
  unsigned long long small = 1, large = ~0ULL;
  EXPECT_TRUE(sortU64(large, small));
  EXPECT_FALSE(sortU64(small, large) || sortU64(small, small));
}

TEST(Message, LogsThroughTheHookOnly) {
  nk_message::log("unheard %d", 1);
  harness::hookedText.clear();
  nk_message::registerLog(harness::hook);
  nk_message::log("heard %d %s", 2, "x");
  nk_message::log(nullptr);
  nk_message::registerLog(nullptr);
  nk_message::log("unheard %d", 3);
  EXPECT_EQ(harness::hookedText, "heard 2 x");
}

}  // namespace
