#include "golden.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "harness/hex.h"
#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "reading.h"

namespace {

using harness::hex;
using harness::toHex;

// The bytes of a message by the first version that they are for.
using tRows = std::map<unsigned int, tBlob>;
using tVectors = std::map<std::string, tRows>;

// The lines of the document's block with this mark, without it; empty if there is none.
std::string documentBlock(std::string const& mark) {
  std::ifstream document(NK_DOCS "/wire-format.md");
  std::string line, block;
  while (std::getline(document, line) && line != "```" + mark) continue;
  while (std::getline(document, line) && line != "```") block += line + "\n";
  return block;
}

// Those of each message by its name in the document, which peers in other languages are written
// from.
tVectors messageVectors() {
  tVectors vectors;
  std::istringstream lines(documentBlock("vectors"));
  tRows* rows = nullptr;
  for (std::string line; std::getline(lines, line);) {
    bool const isRow = line.starts_with("  v");
    if (!line.starts_with(" ")) rows = &vectors[line.substr(0, line.find(" {"))];
    if (isRow) (*rows)[static_cast<unsigned int>(line[3] - '0')];
    if (isRow || !rows->empty()) rows->rbegin()->second.append(hex(line.substr(isRow ? 7 : 0)));
  }
  return vectors;
}

std::vector<tGoldenRow> allRows() {
  std::vector<tGoldenRow> rows;
  for (auto const family :
       {configMessageRows, controlMessageRows, displayConfigMessageRows, eventMessageRows,
        imageMessageRows, scheduleMessageRows, stateMessageRows, statisticsMessageRows}) {
    for (auto& row : family()) rows.push_back(std::move(row));
  }
  return rows;
}

// The bytes of the row that `number` goes by: the last one that is not above it.
tBlob bytesIn(tRows const& rows, unsigned int number) {
  return std::prev(rows.upper_bound(number))->second;
}

class Golden : public testing::TestWithParam<tGoldenRow> {};

nk_message::teVersion version(unsigned int number) { return nk_message::teVersion(number); }

// The version of a message is its third byte.
tBlob inVersion(tBlob bytes, unsigned int number) {
  bytes.data()[2] = static_cast<unsigned char>(number);
  return bytes;
}

// The document's vectors, in all versions that there are and one above.
TEST_P(Golden, IsWrittenAndReadToTheByte) {
  auto const vectors = messageVectors();
  ASSERT_TRUE(vectors.contains(GetParam().name));
  for (unsigned int number = 0; number <= 4; ++number) {
    SCOPED_TRACE(number);
    auto const message = GetParam().make(version(number));
    auto const bytes = inVersion(bytesIn(vectors.at(GetParam().name), number), number);
    EXPECT_EQ(toHex(bytesOf(*message)), toHex(bytes));
    auto const again = readMessage(bytes);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->type(), message->type());
    EXPECT_EQ(again->version(), number);
    EXPECT_EQ(toHex(bytesOf(*again)), toHex(bytes));
    EXPECT_FALSE(message->serializeMsg(nullptr));
    // Reading replaces what is there; but schedules are added.
    nk_serializer body = bodyOf(*message);
    EXPECT_TRUE(message->serialize(&body, nk_serializer::SER_READ));
    EXPECT_EQ(bytesOf(*message) == bytes, message->type() != nk_message::SET_SCHEDULES_REQ);
    for (unsigned int size = 4; size < bytes.size(); ++size) {
      auto const cut = readMessage(tBlob(bytes.data(), size));
      ASSERT_NE(cut, nullptr);
      EXPECT_FALSE(bytesOf(*cut).empty()) << "cut to " << size;
    }
  }
}

TEST(GoldenRows, AreThoseOfTheDocument) {
  std::set<std::string> names, documented;
  for (auto const& row : allRows()) names.insert(row.name);
  for (auto const& [name, rows] : messageVectors()) documented.insert(name);
  EXPECT_EQ(names, documented);
}

// "SET_CONFIG_REQ v0, v3 = 5df4...": sent in version 0, asked for in version 3. An even number
// stands for the next one too.
TEST(Checksums, AreThoseOfTheDocument) {
  auto const vectors = messageVectors();
  std::istringstream lines(documentBlock("checksums"));
  unsigned int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    auto const end = line.find(" = ");
    auto const number = [&](unsigned int back) {
      return static_cast<unsigned int>(line.at(end - back) - '0');
    };
    auto const sent = readMessage(vectors.at(line.substr(0, end - 7)).at(number(5)));
    auto const before = toHex(bytesOf(*sent));
    auto* const config = dynamic_cast<nk_messageSetConfigReq*>(sent.get());
    auto* const schedules = dynamic_cast<nk_messageSetSchedulesReq*>(sent.get());
    for (unsigned int asked = number(1); asked <= (number(1) | 1); ++asked) {
      auto const sum = config != nullptr ? config->checksum(version(asked))
                                         : schedules->checksum(version(asked));
      EXPECT_EQ(sum, line.substr(end + 3).c_str()) << line << asked;
    }
    EXPECT_EQ(toHex(bytesOf(*sent)), before) << "to ask changes nothing";
  }
  EXPECT_EQ(count, 7u);
}

// A body that is cut short: elements that came whole stay. How many did shows in the size that the
// message has when it is written again.
TEST(CutBodies, KeepWhatCame) {
  struct {
    char const* name;
    unsigned int version, missing, size;
  } const rows[] = {{"SET_SCHEDULES_REQ", 2, 1, 100},
                    {"SET_SCHEDULES_REQ", 2, 42, 76},
                    {"SET_SCHEDULES_REQ", 2, 91, 8},
                    {"IMAGE", 3, 1, 82},
                    {"IMAGE", 3, 2, 10},
                    {"STATE_RSP", 1, 1, 82},
                    {"GENERIC_REQ", 0, 1, 16},
                    {"EVENTS_RSP", 0, 1, 65},
                    {"EVENTS_RSP", 0, 32, 9},
                    {"SET_CONFIG_REQ", 3, 1, 102},
                    {"GET_DISPLAY_CONFIGURATION_RSP", 1, 9, 44}};
  auto const vectors = messageVectors();
  for (auto const& row : rows) {
    auto const bytes = inVersion(bytesIn(vectors.at(row.name), row.version), row.version);
    auto const cut = readMessage(tBlob(bytes.data(), bytes.size() - row.missing));
    EXPECT_EQ(bytesOf(*cut).size(), row.size) << row.name << row.missing;
  }
}

TEST_P(Golden, HasItsJsonText) {
  std::string const json = GetParam().json;
  if (json.empty()) return;
  auto const message = GetParam().make(nk_message::VERSION_3);
  EXPECT_EQ(message->getJson().view(), json);
  tJson object;
  ASSERT_TRUE(object.parse(json));
  // A message of the same kind that knows nothing but what the text says.
  auto const other = readMessage(tBlob(bytesOf(*message).data(), 4));
  ASSERT_TRUE(other->serializeFromJson(&object));
  EXPECT_EQ(other->getJson() == json.c_str(), GetParam().jsonReadsBack);
  ASSERT_TRUE(object.parse(json) && message->serializeFromJson(&object));
  EXPECT_TRUE(!GetParam().jsonReadsBack || message->getJson().view() == json) << "replaced";
}

TEST_P(Golden, RefusesForeignJsonUnchanged) {
  if (*GetParam().json == '\0') return;
  auto const message = GetParam().make(nk_message::VERSION_3);
  std::string const before = message->getJson().c_str();
  EXPECT_FALSE(message->serializeFromJson(nullptr) || message->serializeToJson(nullptr));
  tJson own, none;
  ASSERT_TRUE(own.parse(GetParam().json));
  EXPECT_FALSE(message->serializeFromJson(&none));
  for (char const* const key : {"action", "type"}) {
    tJson foreign(own);
    foreign.addString(key, own.getString("type") == "request" ? "response" : "request");
    EXPECT_FALSE(message->serializeFromJson(&foreign)) << key;
  }
  EXPECT_EQ(message->getJson().c_str(), before);
  own.addInt("tv", 0);
  EXPECT_FALSE(message->serializeFromJson(&own));
  char const* const after = GetParam().jsonAfterOldText;
  EXPECT_EQ(message->getJson().c_str(), after != nullptr ? after : before);
}

INSTANTIATE_TEST_SUITE_P(Messages, Golden, testing::ValuesIn(allRows()), [](auto const& row) {
  std::string name = row.param.name;
  std::erase_if(name, [](char c) { return std::isalnum(c) == 0; });
  return name;
});

}  // namespace
