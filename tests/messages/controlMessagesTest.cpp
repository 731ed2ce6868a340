#include "nkProtocol/controlMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "harness/clock.h"
#include "harness/hex.h"
#include "reading.h"

std::vector<tGoldenRow> controlMessageRows() {
  return {
      {"TIME",
       [](auto version) {
         harness::tFakeClock clock(0x165431234LL);  // past 2106: the low 32 bits travel
         return std::make_unique<nk_messageTime>(version);
       },
       R"({"action":"time","type":"request","tv":1,"currentTime":1698894388})"},
      {"SHUTDOWN", fresh<nk_messageShutdown>, R"({"action":"shutdown","type":"request","tv":1})"},
      {"GENERIC_REQ",
       [](auto version) {
         return std::make_unique<nk_messageGenericReq>(version, tString("a\0é", 4), "bc");
       },
       ""},
      {"GENERIC_RSP",
       [](auto version) { return std::make_unique<nk_messageGenericRsp>(version, "bc", ""); }, ""},
  };
}

namespace {

TEST(ControlMessages, AShortTimeIsZeroAndNotNow) {
  EXPECT_EQ(readMessage<nk_messageTime>(harness::hex("0b 00 00 00 34 12 43"))->currentTime, 0u);
}

TEST(ControlMessages, AMissingTimeKeepsTheOneThatIsThere) {
  nk_messageTime message(nk_message::VERSION_0);
  message.currentTime = 5;
  EXPECT_TRUE(readJson(message, R"({"action":"time","type":"request","tv":7})"));
  EXPECT_EQ(message.currentTime, 5u);
}

TEST(ControlMessages, GenericMessagesLeaveJsonAlone) {
  nk_messageGenericRsp message(nk_message::VERSION_0, "a", "b");
  EXPECT_EQ(message.getJson(), "{}");
  tJson json;
  json.addInt("kept", 1);
  EXPECT_TRUE(message.serializeToJson(&json) && message.serializeFromJson(&json));
  EXPECT_TRUE(message.serializeToJson(nullptr) && message.serializeFromJson(nullptr));
  EXPECT_EQ(json.getJson(false), R"({"kept":1})");
}

}  // namespace
