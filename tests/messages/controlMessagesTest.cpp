#include "nkProtocol/controlMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "harness/clock.h"
#include "harness/hex.h"
#include "reading.h"

std::vector<tGoldenRow> controlMessageRows() {
  return {
      {"TimeV0",
       [] {
         harness::tFakeClock clock(0x65431234);
         return std::make_unique<nk_messageTime>(nk_message::VERSION_0);
       },
       "0b 00 00 00 34 12 43 65",
       R"({"action":"time","type":"request","tv":1,"currentTime":1698894388})"},
      {"TimeV3Past2038",
       [] {
         harness::tFakeClock clock(0x1FFFFFFFFLL);  // past 2106: the low 32 bits travel
         return std::make_unique<nk_messageTime>(nk_message::VERSION_3);
       },
       "0b 00 03 00 ff ff ff ff",
       R"({"action":"time","type":"request","tv":1,"currentTime":4294967295})"},
      {"ShutdownV2", [] { return std::make_unique<nk_messageShutdown>(nk_message::VERSION_2); },
       "0c 00 02 00", R"({"action":"shutdown","type":"request","tv":1})"},
      {"GenericReqV1",
       [] {
         return std::make_unique<nk_messageGenericReq>(nk_message::VERSION_1, tString("a\0\xff", 3),
                                                       "bc");
       },
       "1c 00 01 00 03 00 00 00 61 00 ff 02 00 00 00 62 63", ""},
      {"GenericRspEmpty",
       [] { return std::make_unique<nk_messageGenericRsp>(nk_message::VERSION_0, "", ""); },
       "1d 00 00 00 00 00 00 00 00 00 00 00", ""},
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
  EXPECT_EQ(message.text1, "a");
}

}  // namespace
