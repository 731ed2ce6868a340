#include "nkProtocol/displayConfigMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "reading.h"

namespace {

using tDisplays = nk_messageGetDisplayConfigurationRsp;

template <nk_message::teVersion version>
std::unique_ptr<nk_message> displays(bool withPositions = version != nk_message::VERSION_0) {
  auto message = std::make_unique<tDisplays>(version);
  message->set("d", -90);
  auto* const configuration = message->addDisplayConfiguration("c", 5, true);
  unsigned short const left = withPositions ? 0x0A09 : 0;
  configuration->addLogicalDisplay("l", 6, 0x0807, 0xFFFF, true, left, 11);
  configuration->addLogicalDisplay("", 32767, 1, 2, false, 3, left);
  message->addDisplayConfiguration("", 0, false);
  return message;
}

#define DISPLAYS_START "02 00 01 00 00 00 64 a6 01 00 00 00 63 05 80 02 00 "
#define DISPLAYS_END "00 00 00 00 00 00 00 00"
#define DISPLAYS_JSON                                                           \
  R"({"action":"displayConfig","type":"response","tv":1,"name":"d","rot":-90,)" \
  R"("dispConfigs":[{"name":"c","id":32773,"logDisps":[)"                       \
  R"({"name":"l","id":32774,"w":2055,"h":65535,"l":2569,"t":11},)"              \
  R"({"name":"","id":32767,"w":1,"h":2,"l":3,"t":2569}]},{"name":"","id":0}]})"

}  // namespace

std::vector<tGoldenRow> displayConfigMessageRows() {
  constexpr bool hasPositionsOnlyInJson = true;
  return {
      {"DisplaysReq",
       [] { return std::make_unique<nk_messageGetDisplayConfigurationReq>(nk_message::VERSION_1); },
       "07 00 01 00", R"({"action":"displayConfig","type":"request","tv":1})"},
      {"DisplaysRspV0", [] { return displays<nk_message::VERSION_0>(hasPositionsOnlyInJson); },
       "08 00 00 00 " DISPLAYS_START
       "01 00 00 00 6c 06 80 07 08 ff ff 00 00 00 00 ff 7f 01 00 02 00 " DISPLAYS_END,
       DISPLAYS_JSON},
      {"DisplaysRspV1", [] { return displays<nk_message::VERSION_1>(); },
       "08 00 01 00 " DISPLAYS_START "01 00 00 00 6c 06 80 07 08 ff ff 09 0a 0b 00 "
       "00 00 00 00 ff 7f 01 00 02 00 03 00 09 0a " DISPLAYS_END,
       DISPLAYS_JSON},
  };
}

namespace {

TEST(DisplayConfig, TheMarkIsABitOfTheIdWord) {
  struct tRow {
    unsigned short id;
    bool current;
    unsigned short storedId;
    bool isCurrent;
  };
  for (tRow const& row : {tRow{5, true, 5, true}, tRow{5, false, 5, false},
                          tRow{32773, false, 5, true}, tRow{65535, true, 32767, true}}) {
    SCOPED_TRACE(row.id);
    tDisplays message(nk_message::VERSION_0);
    auto const* const configuration = message.addDisplayConfiguration("", row.id, row.current);
    EXPECT_EQ(configuration->id(), row.storedId);
    EXPECT_EQ(configuration->isCurrent(), row.isCurrent ? 32768 : 0);
    tDisplays::tLogicalDisplay const display("", row.id, 0, 0, row.current, 0, 0);
    EXPECT_EQ(display.id(), row.storedId);
    EXPECT_EQ(display.isCurrent(), row.isCurrent);
  }
}

TEST(DisplayConfig, FindsTheFirstByIdAndNoneByAWordWithMark) {
  tDisplays message(nk_message::VERSION_0);
  auto* const first = message.addDisplayConfiguration("first", 5, true);
  message.addDisplayConfiguration("second", 5, false);
  EXPECT_EQ(message.getDisplayConfigurationById(5), first);
  EXPECT_EQ(message.getDisplayConfigurationById(32773), nullptr);
  EXPECT_EQ(message.getDisplayConfiguration(2), nullptr);
  auto* const display = first->addLogicalDisplay("", 7, 0, 0, true, 0, 0);
  first->addLogicalDisplay("", 7, 0, 0, false, 0, 0);
  EXPECT_EQ(first->getLogicalDisplayById(7), display);
  EXPECT_EQ(first->getLogicalDisplayById(32775), nullptr);
  EXPECT_EQ(first->getLogicalDisplay(2), nullptr);
  EXPECT_EQ(first->logicalDisplayCount(), 2);
}

TEST(DisplayConfig, AVersionZeroBodyGivesPositionsOfZero) {
  auto const read = readMessage<tDisplays>(bytesOf(*displays<nk_message::VERSION_0>(true)));
  auto const* const display = read->getDisplayConfiguration(0)->getLogicalDisplay(0);
  EXPECT_TRUE(display->left() == 0 && display->top() == 0);
}

TEST(DisplayConfig, ReadingReplacesWhatIsThereAndKeepsWhatCameWhole) {
  nk_serializer body = bodyOf(*displays<nk_message::VERSION_1>());
  body.truncate(body.size() - 9);  // into the second logical display
  tDisplays message(nk_message::VERSION_1);
  message.set("old", 1);
  message.addDisplayConfiguration("old", 1, false);
  EXPECT_FALSE(message.serialize(&body, nk_serializer::SER_READ));
  EXPECT_EQ(message.name(), "d");
  EXPECT_EQ(message.rot(), -90);
  EXPECT_EQ(message.getDisplayConfiguration(0)->logicalDisplayCount(), 1);
  EXPECT_EQ(message.getDisplayConfiguration(1), nullptr);
}

}  // namespace
