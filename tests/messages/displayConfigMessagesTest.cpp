#include "nkProtocol/displayConfigMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "reading.h"

namespace {

using tDisplays = nk_messageGetDisplayConfigurationRsp;

std::unique_ptr<nk_message> displays(nk_message::teVersion version) {
  auto message = std::make_unique<tDisplays>(version);
  message->set("wall", -90);
  auto* const configuration = message->addDisplayConfiguration("two", 5, true);
  configuration->addLogicalDisplay("left", 6, 0x0807, 0xFFFF, true, 0x0A09, 11);
  configuration->addLogicalDisplay("", 32767, 1, 2, false, 3, 0x0A09);
  message->addDisplayConfiguration("", 0, false);
  return message;
}

}  // namespace

std::vector<tGoldenRow> displayConfigMessageRows() {
  return {
      {"GET_DISPLAY_CONFIGURATION_REQ", fresh<nk_messageGetDisplayConfigurationReq>,
       R"({"action":"displayConfig","type":"request","tv":1})"},
      {"GET_DISPLAY_CONFIGURATION_RSP", displays,
       R"({"action":"displayConfig","type":"response","tv":1,"name":"wall","rot":-90,)"
       R"("dispConfigs":[{"name":"two","id":32773,"logDisps":[)"
       R"({"name":"left","id":32774,"w":2055,"h":65535,"l":2569,"t":11},)"
       R"({"name":"","id":32767,"w":1,"h":2,"l":3,"t":2569}]},{"name":"","id":0}]})"},
  };
}

namespace {

TEST(DisplayConfig, TheMarkIsABitOfTheIdWord) {
  struct {
    unsigned short id;
    bool current;
    unsigned short storedId;
    bool isCurrent;
  } const rows[] = {{5, true, 5, true},
                    {5, false, 5, false},
                    {32773, false, 5, true},
                    {65535, true, 32767, true}};
  for (auto const& row : rows) {
    tDisplays::tDisplayConfiguration const configuration("", row.id, row.current);
    tDisplays::tLogicalDisplay const display("", row.id, 0, 0, row.current, 0, 0);
    EXPECT_TRUE(configuration.id() == row.storedId && display.id() == row.storedId) << row.id;
    EXPECT_EQ(configuration.isCurrent(), row.isCurrent ? 32768 : 0) << row.id;
    EXPECT_EQ(display.isCurrent(), row.isCurrent) << row.id;
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
}

}  // namespace
