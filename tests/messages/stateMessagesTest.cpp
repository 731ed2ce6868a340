#include "nkProtocol/stateMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "reading.h"

namespace {

std::unique_ptr<nk_messageStateRsp> stateRsp(nk_message::teVersion version) {
  auto message = std::make_unique<nk_messageStateRsp>(version);
  message->set(0x01020304, "i", "c", "s", 5, 6, "v", "w", 7, "old", "n", "u", {1, 1ULL << 63});
  message->setFlags(9);
  message->setMobileState(teNkMobileRan(3), true);
  return message;
}

#define STATE_RSP_START                                                                     \
  "04 03 02 01 01 00 00 00 69 01 00 00 00 63 01 00 00 00 73 01 00 00 00 76 01 00 00 00 77 " \
  "05 00 00 00 06 00 00 00 07 00 00 00 "
#define STATE_RSP_NAMES "01 00 00 00 6e 01 00 00 00 75 09 00 00 00"
#define STATE_RSP_IMAGES " 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80"
#define STATE_RSP_JSON                                                                       \
  R"({"action":"state","type":"response","tv":1,"serial":16909060,"ci":"i","csCfg":"c",)"    \
  R"("csSched":"s","vc":"v","va":"w","omc":5,"evc":7,"devName":"n","devCus":"u","flags":9,)" \
  R"("images":[{"uid":1},{"uid":9223372036854775808}],"extState":7})"

}  // namespace

std::vector<tGoldenRow> stateMessageRows() {
  return {
      {"StateReqPlain", [] { return std::make_unique<nk_messageStateReq>(nk_message::VERSION_0); },
       "01 00 00 00 00 00 00 00 00",
       R"({"action":"state","type":"request","tv":1,"name":"","task":0})"},
      {"StateReqNewName",
       [] {
         auto message = std::make_unique<nk_messageStateReq>(nk_message::VERSION_3);
         message->setTaskNewName("hall");
         return message;
       },
       "01 00 03 00 01 04 00 00 00 68 61 6c 6c",
       R"({"action":"state","type":"request","tv":1,"name":"hall","task":1})"},
      {"StateRspV0", [] { return stateRsp(nk_message::VERSION_0); },
       "02 00 00 00 " STATE_RSP_START "03 00 00 00 6f 6c 64 " STATE_RSP_NAMES, STATE_RSP_JSON},
      {"StateRspV1", [] { return stateRsp(nk_message::VERSION_1); },
       "02 00 01 00 " STATE_RSP_START STATE_RSP_NAMES STATE_RSP_IMAGES, STATE_RSP_JSON},
      {"StateRspV2", [] { return stateRsp(nk_message::VERSION_2); },
       "02 00 02 00 " STATE_RSP_START STATE_RSP_NAMES STATE_RSP_IMAGES " 07 00 00 00 00 00 00 00",
       STATE_RSP_JSON},
  };
}

namespace {

TEST(StateRsp, TheMobileStateIsTheLowByteOfTheExtendedState) {
  nk_messageStateRsp message(nk_message::VERSION_2);
  ASSERT_TRUE(readJson(
      message, R"({"action":"state","type":"response","tv":1,"extState":12297829382473034495})"));
  struct tRow {
    unsigned char ran;
    bool active;
    unsigned long long state;
  };
  for (tRow const& row :
       {tRow{5, true, 0xAAAAAAAAAAAAAA0BULL}, tRow{5, false, 0xAAAAAAAAAAAAAA0AULL},
        tRow{127, true, 0xAAAAAAAAAAAAAAFFULL}, tRow{0x83, false, 0xAAAAAAAAAAAAAA06ULL},
        tRow{0, false, 0xAAAAAAAAAAAAAA00ULL}}) {
    message.setMobileState(teNkMobileRan(row.ran), row.active);
    EXPECT_EQ(message.extState(), row.state);
  }
}

TEST(StateRsp, KnowsItsImages) {
  nk_messageStateRsp message(nk_message::VERSION_1);
  EXPECT_TRUE(message.imageUidsPresent({}));
  EXPECT_FALSE(message.imageUidPresent(0));
  message.set(0, "", "", "", 0, 0, "", "", 0, "", "", "", {9, ~0ULL, 3});
  EXPECT_TRUE(message.imageUidPresent(~0ULL));
  EXPECT_TRUE(message.imageUidsPresent({3, 3, 9}));
  EXPECT_FALSE(message.imageUidsPresent({3, 4}));
}

TEST(StateRsp, JsonKeepsNumbersThatItDoesNotName) {
  auto const message = stateRsp(nk_message::VERSION_2);
  ASSERT_TRUE(
      readJson(*message, R"({"action":"state","type":"response","tv":1,"images":[{},{"uid":4}]})"));
  EXPECT_EQ(message->serial(), 0x01020304u);
  EXPECT_EQ(message->flags(), 9u);
  EXPECT_EQ(message->images(), (std::vector<unsigned long long>{0, 4}));
}

}  // namespace
