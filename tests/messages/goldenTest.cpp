#include "golden.h"

#include <gtest/gtest.h>

#include "harness/hex.h"
#include "reading.h"

namespace {

using harness::hex;
using harness::toHex;

std::vector<tGoldenRow> allRows() {
  std::vector<tGoldenRow> rows;
  for (auto const family :
       {configMessageRows, controlMessageRows, displayConfigMessageRows, eventMessageRows,
        imageMessageRows, scheduleMessageRows, stateMessageRows, statisticsMessageRows}) {
    for (auto& row : family()) rows.push_back(std::move(row));
  }
  return rows;
}

class Golden : public testing::TestWithParam<tGoldenRow> {};

TEST_P(Golden, IsWrittenAndReadToTheByte) {
  auto const message = GetParam().make();
  EXPECT_EQ(toHex(bytesOf(*message)), GetParam().bytes);
  auto const again = readMessage(hex(GetParam().bytes));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->type(), message->type());
  EXPECT_EQ(again->version(), message->version());
  EXPECT_EQ(toHex(bytesOf(*again)), GetParam().bytes);
  EXPECT_FALSE(message->serializeMsg(nullptr));
}

TEST_P(Golden, SurvivesEveryShorterBody) {
  tBlob const whole = hex(GetParam().bytes);
  for (unsigned int size = 4; size < whole.size(); ++size) {
    auto const message = readMessage(tBlob(whole.data(), size));
    ASSERT_NE(message, nullptr);
    EXPECT_FALSE(bytesOf(*message).empty()) << "cut to " << size;
  }
}

TEST_P(Golden, HasItsJsonText) {
  std::string const json = GetParam().json;
  if (json.empty()) return;
  EXPECT_EQ(GetParam().make()->getJson().view(), json);
  tJson object;
  ASSERT_TRUE(object.parse(json));
  // A message of the same kind that knows nothing but what the text says.
  auto const other = readMessage(tBlob(hex(GetParam().bytes).data(), 4));
  ASSERT_TRUE(other->serializeFromJson(&object));
  EXPECT_EQ(other->getJson() == json.c_str(), GetParam().jsonReadsBack);
}

TEST_P(Golden, RefusesForeignJsonUnchanged) {
  if (*GetParam().json == '\0') return;
  auto const message = GetParam().make();
  std::string const before = message->getJson().c_str();
  EXPECT_FALSE(message->serializeFromJson(nullptr));
  EXPECT_FALSE(message->serializeToJson(nullptr));
  tJson own;
  ASSERT_TRUE(own.parse(GetParam().json));
  using tChange = void (*)(tJson&);
  for (tChange const change :
       {tChange([](tJson& json) { json.clear(); }),
        tChange([](tJson& json) { json.addString("action", "other"); }), tChange([](tJson& json) {
          json.addString("type", json.getString("type") == "request" ? "response" : "request");
        })}) {
    tJson foreign(own);
    change(foreign);
    EXPECT_FALSE(message->serializeFromJson(&foreign));
    EXPECT_EQ(message->getJson().c_str(), before);
  }
  own.addInt("tv", 0);
  EXPECT_FALSE(message->serializeFromJson(&own));
  char const* const after = GetParam().jsonAfterOldText;
  EXPECT_EQ(message->getJson().c_str(), after != nullptr ? after : before);
}

INSTANTIATE_TEST_SUITE_P(Messages, Golden, testing::ValuesIn(allRows()),
                         [](auto const& row) { return row.param.name; });

}  // namespace
