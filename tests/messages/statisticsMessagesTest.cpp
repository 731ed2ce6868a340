#include "nkProtocol/statisticsMessages.h"

#include <gtest/gtest.h>

#include <limits>

#include "golden.h"
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
  struct {
    double energy;
    unsigned int wh, mWh;
  } const rows[] = {{0.9999, 0, 999},
                    {-5, 0, 0},
                    {4294967295.5, 4294967295, 500},
                    {4294967296, 4294967295, 0},
                    {infinity, 4294967295, 0},
                    {std::numeric_limits<double>::quiet_NaN(), 0, 0}};
  for (auto const& row : rows) {
    tStatistics message(nk_message::VERSION_0);
    message.set(0, row.energy, 0, 0, 0, 0);
    EXPECT_TRUE(message.energy_Wh() == row.wh && message.energy_mWh() == row.mWh) << row.energy;
    EXPECT_DOUBLE_EQ(message.energyConsumption_Wh(), row.wh + row.mWh / 1000.0);
  }
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
  EXPECT_EQ(dynamic_cast<tStatistics&>(*message).imgUpdateCount(), 5u);
}

TEST(Statistics, TheRequestPassesWithoutASerializer) {
  EXPECT_TRUE(
      nk_messageStatisticsReq(nk_message::VERSION_0).serialize(nullptr, nk_serializer::SER_WRITE));
}

}  // namespace
