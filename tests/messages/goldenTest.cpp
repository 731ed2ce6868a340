#include "golden.h"

#include <gtest/gtest.h>

#include "harness/hex.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/imageMessage.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
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

// What a message read from a body that was cut short has kept.
std::string told(nk_message& message) {
  if (auto* const set = dynamic_cast<nk_messageSetSchedulesReq*>(&message)) {
    auto const count = set->count();
    return std::to_string(count) + " schedules, " +
           std::to_string(set->getSchedule(count - 1)->count()) + " entry in the last";
  }
  if (auto* const images = dynamic_cast<nk_messageImage*>(&message))
    return std::to_string(images->count()) + " images";
  if (auto* const state = dynamic_cast<nk_messageStateRsp*>(&message))
    return std::to_string(state->images().size()) + " uids, " + state->ci().c_str();
  auto& generic = dynamic_cast<nk_messageGenericReq&>(message);
  return std::string(generic.text1.c_str()) + "," + generic.text2.c_str();
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

// A body that is cut short: elements that came whole stay, and so do the fields before the cut.
TEST(CutBodies, KeepWhatCame) {
  nk_messageSetSchedulesReq schedules(nk_message::VERSION_2);
  for (unsigned int i = 1; i <= 2; ++i) {
    auto* const schedule = schedules.addSchedule_(i, "s", 0LL, 0LL, 0, 0);
    for (unsigned int k = 1; k <= 2; ++k) schedule->addScheduleEntry(k, "e", k, k, false);
  }
  nk_messageImage images(nk_message::VERSION_3);
  tBlob const content("bytes", 5);
  for (unsigned int i = 1; i <= 2; ++i) {
    tBlob copy = content;
    images.add(i, "n", "image/png", &copy);
  }
  nk_messageStateRsp state(nk_message::VERSION_1);
  state.set(1, "ci", "", "", 0, 0, "", "", 0, "", "", "", {5, 6});
  nk_messageGenericReq generic(nk_message::VERSION_0, "first", "second");
  auto const cut = [](nk_message& message, unsigned int behind) {
    auto const bytes = bytesOf(message);
    return tBlob(bytes.data(), bytes.size() - behind);
  };
  struct {
    tBlob bytes;
    char const* kept;
  } const rows[] = {
      {cut(schedules, 1), "2 schedules, 1 entry in the last"},
      {cut(schedules, 50), "2 schedules, 0 entry in the last"},
      {cut(schedules, 51), "1 schedules, 2 entry in the last"},
      {cut(images, 2), "1 images"},
      {cut(images, 1), "2 images"},
      {cut(state, 1), "1 uids, ci"},
      {cut(generic, 1), "first,"},
  };
  for (auto const& row : rows) EXPECT_EQ(told(*readMessage(row.bytes)), row.kept);
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
