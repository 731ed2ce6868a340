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
  struct tRow {
    char const* bytes;
    char const* printed;
  };
  for (tRow const& row :
       {tRow{"", ""}, tRow{"0b 00 00", ""},
        tRow{"00 00 00 00", "!!!!! TODO !!!!!, unhandled message type: 0 (version 0)"},
        tRow{"10 00 01 00", "!!!!! TODO !!!!!, unhandled message type: 16 (version 1)"},
        tRow{"1b 00 ff ff", "!!!!! TODO !!!!!, unhandled message type: 27 (version 65535)"},
        tRow{"1e 00 00 00", "!!!!! TODO !!!!!, unhandled message type: 30 (version 0)"},
        tRow{"ff ff 00 00", "!!!!! TODO !!!!!, unhandled message type: 65535 (version 0)"}}) {
    tBlob blob = hex(row.bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(nk_message::getMessage(&blob), nullptr);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed);
  }
  EXPECT_EQ(nk_message::getMessage(nullptr), nullptr);
}

TEST(Message, NamesItsTypes) {
  struct tRow {
    int type;
    char const* name;
  };
  for (tRow const& row : {tRow{0, "invalid"}, tRow{1, "STATE_REQ"}, tRow{10, "SET_SCHEDULES_RSP"},
                          tRow{16, "TAVO_AUTHORIZE_REQ"}, tRow{27, "TAVO_ASSIGNMENT_RSP"},
                          tRow{29, "GENERIC_RSP"}, tRow{30, "invalid"}, tRow{65535, "invalid"}}) {
    EXPECT_EQ(nk_message::typeName(nk_message::teType(row.type)), row.name);
  }
  EXPECT_EQ(nk_messageShutdown(nk_message::VERSION_0).typeName(), "SHUTDOWN");
}

TEST(Message, TheChecksumOfIdsIsThatOfTheirSet) {
  struct tRow {
    std::vector<unsigned long long> ids;
    char const* digits;
  };
  for (tRow const& row :
       {tRow{{}, ""}, tRow{{5, 3, 5}, "35"}, tRow{{3, 5}, "35"}, tRow{{1, 23}, "123"},
        tRow{{123}, "123"}, tRow{{1ULL << 63, 2}, "29223372036854775808"}}) {
    EXPECT_EQ(nk_message::vectorU64Checksum(row.ids), sha1Of(row.digits, std::strlen(row.digits)))
        << row.digits;
  }
  unsigned long long small = 1;
  unsigned long long large = ~0ULL;
  EXPECT_TRUE(sortU64(large, small));
  EXPECT_FALSE(sortU64(small, large));
  EXPECT_FALSE(sortU64(small, small));
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
