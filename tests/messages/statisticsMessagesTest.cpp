#include "nkProtocol/statisticsMessages.h"

#include <gtest/gtest.h>

#include <limits>

#include "golden.h"
#include "harness/hex.h"
#include "nkSupport/tJson.h"

namespace {

using tStatistics = nk_messageStatisticsRsp;

std::unique_ptr<nk_message> statistics(nk_message::teVersion version) {
  auto message = std::make_unique<tStatistics>(version);
  message->set(0xFFFFFFFF, 12.3456, -20, 2, 70, 4);
  return message;
}

}  // namespace

std::vector<tGoldenRow> statisticsMessageRows() {
  constexpr bool readsTheCountOnly = false;
  return {
      {"STATISTICS_REQ", fresh<nk_messageStatisticsReq>,
       R"({"action":"statistics","type":"request","tv":1})"},
      {"STATISTICS_RSP", statistics,
       R"({"action":"statistics","type":"response","tv":1,"imgUpdateCount":4294967295,)"
       R"("energy_Wh":12,"energy_mWh":345,"tempCaseMin":-20,"tempCaseMinTime":2,)"
       R"("tempCaseMax":70,"tempCaseMaxTime":4})",
       readsTheCountOnly},
  };
}

namespace {

TEST(Statistics, EnergyIsCutToMilliwattHoursAndToItsRange) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  struct tRow {
    double energy;
    unsigned int wh, mWh;
  };
  for (tRow const& row :
       {tRow{0, 0, 0}, tRow{12.3456, 12, 345}, tRow{0.9999, 0, 999}, tRow{-5, 0, 0},
        tRow{4294967295.5, 4294967295, 500}, tRow{4294967296, 4294967295, 0},
        tRow{5e9, 4294967295, 0}, tRow{infinity, 4294967295, 0}, tRow{-infinity, 0, 0},
        tRow{std::numeric_limits<double>::quiet_NaN(), 0, 0}}) {
    SCOPED_TRACE(row.energy);
    tStatistics message(nk_message::VERSION_0);
    message.set(0, row.energy, 0, 0, 0, 0);
    EXPECT_EQ(message.energy_Wh(), row.wh);
    EXPECT_EQ(message.energy_mWh(), row.mWh);
    EXPECT_DOUBLE_EQ(message.energyConsumption_Wh(), row.wh + row.mWh / 1000.0);
  }
}

TEST(Statistics, AShortBodyReplacesWhatItHolds) {
  tStatistics message(nk_message::VERSION_0);
  message.set(9, 9.009, 9, 9, 9, 9);
  tBlob cut = harness::hex("01 00 00 00 02 00 00 00 03 00 00 00 fc ff 05 00 00");
  nk_serializer ser(&cut);
  EXPECT_FALSE(message.serialize(&ser, nk_serializer::SER_READ));
  EXPECT_EQ(message.getJson(),
            R"({"action":"statistics","type":"response","tv":1,"imgUpdateCount":1,"energy_Wh":2,)"
            R"("energy_mWh":3,"tempCaseMin":-4,"tempCaseMinTime":9,"tempCaseMax":9,)"
            R"("tempCaseMaxTime":9})");
}

TEST(Statistics, ReadingJsonTakesTheCountAndWritesTheRest) {
  auto const message = statistics(nk_message::VERSION_0);
  tJson json;
  ASSERT_TRUE(json.parse(R"({"action":"statistics","type":"response","tv":2,"energy_Wh":1000,)"
                         R"("tempCaseMin":7,"imgUpdateCount":4294967301})"));
  ASSERT_TRUE(message->serializeFromJson(&json));
  EXPECT_EQ(json.getJson(false),
            R"({"action":"statistics","type":"response","tv":2,"energy_Wh":12,"tempCaseMin":-20,)"
            R"("imgUpdateCount":4294967301,"energy_mWh":345,"tempCaseMinTime":2,"tempCaseMax":70,)"
            R"("tempCaseMaxTime":4})");
  auto const& read = dynamic_cast<tStatistics&>(*message);
  EXPECT_EQ(read.imgUpdateCount(), 5u);
  EXPECT_EQ(read.energy_Wh(), 12u);
}

TEST(Statistics, TheRequestPassesWithoutASerializer) {
  EXPECT_TRUE(
      nk_messageStatisticsReq(nk_message::VERSION_0).serialize(nullptr, nk_serializer::SER_WRITE));
}

}  // namespace
