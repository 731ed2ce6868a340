#include "nkProtocol/stateMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "reading.h"

namespace {

std::unique_ptr<nk_messageStateRsp> stateRsp(nk_message::teVersion version) {
  auto message = std::make_unique<nk_messageStateRsp>(version);
  message->set(0x01020304, "nk", "c", "s", 5, 6, "1.4", "2", 7, "old", "Süd", "Museum",
               {42, 1ULL << 63});
  message->setFlags(9);
  message->setMobileState(teNkMobileRan(3), true);
  return message;
}

}  // namespace

std::vector<tGoldenRow> stateMessageRows() {
  return {
      {"STATE_REQ",
       [](auto version) {
         auto message = std::make_unique<nk_messageStateReq>(version);
         message->setTaskNewName("Süd");
         return message;
       },
       R"({"action":"state","type":"request","tv":1,"name":"Süd","task":1})"},
      {"STATE_RSP", stateRsp,
       R"({"action":"state","type":"response","tv":1,"serial":16909060,"ci":"nk","csCfg":"c",)"
       R"("csSched":"s","vc":"1.4","va":"2","omc":5,"evc":7,"devName":"Süd",)"
       R"("devCus":"Museum","flags":9,"images":[{"uid":42},{"uid":9223372036854775808}],)"
       R"("extState":7})"},
  };
}

namespace {

TEST(StateRsp, TheMobileStateIsTheLowByteOfTheExtendedState) {
  nk_messageStateRsp message(nk_message::VERSION_2);
  ASSERT_TRUE(readJson(
      message, R"({"action":"state","type":"response","tv":1,"extState":12297829382473034495})"));
  struct {
    unsigned char ran;
    bool active;
    unsigned long long lowByte;
  } const rows[] = {{5, true, 0x0B}, {127, true, 0xFF}, {0x83, false, 0x06}, {0, false, 0x00}};
  for (auto const& row : rows) {
    message.setMobileState(teNkMobileRan(row.ran), row.active);
    EXPECT_EQ(message.extState(), 0xAAAAAAAAAAAAAA00ULL | row.lowByte);
  }
}

TEST(StateRsp, KnowsItsImages) {
  nk_messageStateRsp message(nk_message::VERSION_1);
  EXPECT_TRUE(message.imageUidsPresent({}) && !message.imageUidPresent(0));
  message.set(0, "", "", "", 0, 0, "", "", 0, "", "", "", {9, ~0ULL, 3});
  EXPECT_TRUE(message.imageUidPresent(~0ULL) && message.imageUidsPresent({3, 3, 9}));
  EXPECT_FALSE(message.imageUidsPresent({3, 4}));
}

TEST(StateRsp, JsonKeepsNumbersThatItDoesNotName) {
  auto const message = stateRsp(nk_message::VERSION_2);
  ASSERT_TRUE(
      readJson(*message, R"({"action":"state","type":"response","tv":1,"images":[{},{"uid":4}]})"));
  EXPECT_TRUE(message->serial() == 0x01020304 && message->flags() == 9);
  EXPECT_EQ(message->images(), (std::vector<unsigned long long>{0, 4}));
}

}  // namespace
