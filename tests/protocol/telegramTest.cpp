#include "nkProtocol/telegram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "nkSupport/tCompression.h"

namespace {

using harness::hex;
using harness::tLinkEnd;

void ignore(unsigned int, tBlob*, void*, bool, void*) {}

nk_telegramPart partOf(unsigned int number, bool last, tBlob* payload,
                       nk_telegram::teCompression form = nk_telegram::COMPRESSION_NONE) {
  return nk_telegramPart(7, 1, 2, number, 0, last, payload, nk_telegram::TYPE_RESPONSE, form);
}

/// What a telegram of `content` sends, as parts.
std::vector<std::unique_ptr<nk_telegramPart>> partsOf(tBlob content) {
  nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
  harness::tPipe pipe;
  tLinkEnd end{nullptr, &pipe, {}};
  EXPECT_TRUE(telegram.send(nullptr, &end, tLinkEnd::send));
  EXPECT_TRUE(telegram.hasBeenSend());
  std::vector<std::unique_ptr<nk_telegramPart>> parts;
  for (;;) {
    auto part = std::make_unique<nk_telegramPart>();
    if (!part->streamContainsTelegram(&pipe.bytes)) return parts;
    parts.push_back(std::move(part));
  }
}

TEST(Telegram, SplitsContentByThePayloadSize) {
  unsigned int const before = nk_telegram::s_u32MaxPayloadSize;
  nk_telegram::setMaxPayloadSize(100);
  nk_telegram::setMaxPayloadSize(0);  // no change: parts of nothing would never end
  for (auto const& [size, count] : {std::pair{0u, 0u}, {1, 1}, {100, 1}, {101, 2}, {350, 4}}) {
    tBlob const content = harness::noise(size);
    auto const parts = partsOf(content);
    ASSERT_EQ(parts.size(), count);
    tBlob joined;
    for (unsigned int i = 0; i < count; ++i) {
      EXPECT_EQ(parts[i]->partId(), i + 1);
      EXPECT_EQ(parts[i]->isLastPart(), i + 1 == count);
      EXPECT_EQ(parts[i]->payload()->size(), std::min(size - 100 * i, 100u));
      joined.append(*parts[i]->payload());
    }
    EXPECT_EQ(joined == content, true);
  }
  nk_telegram::setMaxPayloadSize(before);
}

TEST(Telegram, CompressesInTheShortestForm) {
  using tPart = nk_telegramPart;
  std::string const runs(500, 'x'), words = "the panel the panel the panel the panel the panel ";
  for (auto const& [content, form] : {std::pair{harness::noise(3000), tPart::COMPRESSION_NONE},
                                      {hex("61"), tPart::COMPRESSION_NONE},
                                      {harness::bytes(runs), tPart::COMPRESSION_RLE},
                                      {harness::bytes(words), tPart::COMPRESSION_HUFF}}) {
    auto const parts = partsOf(content);
    EXPECT_EQ(parts[0]->compression(), form) << harness::text(content);
    EXPECT_EQ(*parts[0]->isSinglePartTelegram() == content, true);
  }
  tBlob content = harness::bytes(runs), out;
  nk_telegram forbidden(7, 1, 2, nullptr, nullptr, nullptr, false, nullptr, false);
  nk_telegram allowed(7, 1, 2, nullptr, nullptr, nullptr, false, nullptr, true);
  EXPECT_FALSE(forbidden.checkCompression(&content, &out) ||
               allowed.checkCompression(nullptr, &out) ||
               allowed.checkCompression(&content, nullptr));
  EXPECT_TRUE(allowed.checkCompression(&content, &out));
}

TEST(Telegram, SendsAllBytesOrSaysSo) {
  harness::tFakeClock clock;
  using tSteps = std::vector<tLinkEnd::tSendStep>;
  constexpr tLinkEnd::tSendStep busy{0, EAGAIN};
  struct {
    char const* name;
    tSteps steps;
    bool sent;
    unsigned int calls, slept_ms;
  } const rows[] = {
      {"at once", {}, true, 1, 0},
      {"in pieces", {{1, 0}, {5, 0}}, true, 3, 0},
      {"busy four times", tSteps(4, busy), true, 5, 2000},
      {"busy five times", tSteps(5, busy), false, 5, 2500},
      {"anew", {busy, busy, busy, busy, {3, 0}, busy, busy, busy, busy}, true, 10, 4000},
      {"hard error", {{5, 0}, {0, EPIPE}}, false, 2, 0},
      {"busy, then a hard error", {busy, {0, EPIPE}}, false, 2, 500},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.name);
    clock.slept_ms = 0;
    tBlob content = hex("61 62 63");
    nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
    EXPECT_TRUE(content.empty()) << "what is not compressed is consumed";
    harness::tPipe pipe;
    tLinkEnd end{nullptr, &pipe, row.steps};
    EXPECT_FALSE(telegram.send(nullptr, nullptr, nullptr));
    EXPECT_EQ(telegram.send(nullptr, &end, tLinkEnd::send), row.sent);
    EXPECT_EQ(telegram.hasBeenSend(), row.sent);
    EXPECT_EQ(end.sendCalls, row.calls);
    EXPECT_EQ(clock.slept_ms, row.slept_ms);
    EXPECT_EQ(nk_telegramPart().streamContainsTelegram(&pipe.bytes), row.sent);
  }
}

TEST(Telegram, TimesOutOnlyAfterTheWholeTime) {
  harness::tFakeClock clock;
  nk_telegram telegram(7, 1, 2, nullptr, ignore, nullptr, false, nullptr, true);
  clock.advance(10);
  EXPECT_FALSE(telegram.timeout());
  clock.advance(1);
  EXPECT_TRUE(telegram.timeout()) << "10 s unless set";
  // The sum with the last one would pass 64 bits.
  for (long long const timeout_s : {-12LL, 11LL, 0x7FFFFFFFFFFFFFFFLL}) {
    telegram.setTimeout_s(timeout_s);
    EXPECT_EQ(telegram.timeout(), timeout_s < 0) << timeout_s;
  }
}

// What becomes of parts, as "1" to "9" or as "3." for the last one: the content once the part that
// came last is the last, and how many were taken.
TEST(Telegram, PutsPartsTogether) {
  struct {
    std::vector<char const*> parts;
    char const* content;
    unsigned int filed;
  } const rows[] = {{{"1", "2", "3."}, "123", 3},           {{"1", "2.", "3."}, "123", 3},
                    {{"1", "1", "2", "2", "3."}, "123", 3}, {{"1", "3."}, "corrupt", 2},
                    {{"2", "1", "3."}, "123", 3},           {{"2.", "1"}, "incomplete", 2},
                    {{"1", "2", "4."}, "corrupt", 3},       {{"0", "1."}, "corrupt", 2}};
  for (auto const& row : rows) {
    std::unique_ptr<nk_telegram> telegram;
    unsigned int filed = 1;
    for (char const* const arrival : row.parts) {
      tBlob payload(arrival, 1);
      auto part = partOf(static_cast<unsigned int>(*arrival - '0'), arrival[1] == '.', &payload);
      if (telegram == nullptr) {
        telegram = std::make_unique<nk_telegram>(&part);
      } else if (telegram->addTelegramPart(&part)) {
        ++filed;
      }
    }
    EXPECT_FALSE(telegram->addTelegramPart(nullptr));
    std::string content = "incomplete";
    if (telegram->lastPartPresent()) {
      content = telegram->isCorrupt() ? "corrupt" : harness::text(*telegram->getCompleteContent());
    }
    EXPECT_EQ(content, row.content) << testing::PrintToString(row.parts);
    EXPECT_EQ(filed, row.filed) << testing::PrintToString(row.parts);
  }
}

TEST(Telegram, JoinsAnewEachTimeItIsAsked) {
  tBlob const content = harness::bytes(std::string(300, 'x'));
  tBlob packed = tCompression::encodeRLE(content);
  auto first = partOf(1, true, &packed, nk_telegram::COMPRESSION_RLE);
  nk_telegram telegram(&first);
  for (int call = 0; call < 2; ++call) {
    tBlob* const given = telegram.getCompleteContent();
    ASSERT_EQ(*given == content, true) << call;
    given->clear();
  }
  // More parts are taken as before; what they make of the content cannot be decoded here.
  EXPECT_FALSE(telegram.addTelegramPart(&first));
  auto second = partOf(2, true, &packed);
  EXPECT_TRUE(telegram.addTelegramPart(&second) && !telegram.isCorrupt());
  EXPECT_TRUE(telegram.getCompleteContent()->empty() && telegram.decodingFailed());
}

TEST(Telegram, SendsTheListOfItsParts) {
  harness::tFakeClock clock;
  unsigned int const before = nk_telegram::s_u32MaxPayloadSize;
  nk_telegram::setMaxPayloadSize(2);
  tBlob const plain = harness::bytes(std::string(500, 'x'));
  tBlob content = plain;
  nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
  auto const parts = partsOf(plain);
  ASSERT_GT(parts.size(), 1u);
  EXPECT_TRUE(telegram.lastPartPresent() && !telegram.isCorrupt());
  EXPECT_FALSE(telegram.addTelegramPart(parts[0].get()));
  EXPECT_EQ(*telegram.getCompleteContent() == plain, true);
  EXPECT_TRUE(telegram.lastPartPresent() && !telegram.isCorrupt());
  nk_telegram received(parts[0].get());
  tBlob frames[2];
  for (auto const& part : parts) {
    part->serialize(&frames[0]);
    received.addTelegramPart(part.get());
  }
  auto other = partOf(9, true, nullptr);
  other.serialize(&frames[1]);
  for (nk_telegram* sender : {&telegram, &received}) {
    sender->addTelegramPart(&other);
    harness::tPipe pipe;
    tLinkEnd end;
    end.out = &pipe;
    EXPECT_TRUE(sender->send(nullptr, &end, tLinkEnd::send));
    std::string const sent = harness::text(pipe.bytes);
    EXPECT_EQ(sent == harness::text(frames[0]) + harness::text(frames[1]), true);
  }
  nk_telegram::setMaxPayloadSize(before);
}

TEST(Telegram, NotifiesWhoAsked) {
  std::string calls;
  auto const note = [](unsigned int, tBlob* content, void*, bool timedOut, void* userData) {
    *static_cast<std::string*>(userData) += timedOut ? "timeout " : "answer ";
    EXPECT_EQ(content == nullptr, timedOut);
  };
  tBlob answer;
  for (nk_responseCallback const callback : {nk_responseCallback(note), nk_responseCallback()}) {
    nk_telegram telegram(7, 1, 2, nullptr, callback, nullptr, false, &calls, true);
    telegram.notifyResponse(2, &answer);
    telegram.notifyTimeout();
    EXPECT_EQ(telegram.waitForResponse(), callback != nullptr);
    EXPECT_TRUE(telegram.isOutgoingRequest(1) && !telegram.isOutgoingRequest(2));
  }
  EXPECT_EQ(calls, "answer timeout ");
}

TEST(Telegram, OrdersPartsAndNullByNumber) {
  auto low = partOf(1, false, nullptr), high = partOf(2, false, nullptr);
  nk_telegramPart *a = &low, *b = &high, *none = nullptr;
  EXPECT_TRUE(nk_telegram::sortTelegrams(b, a));
  EXPECT_FALSE(nk_telegram::sortTelegrams(a, b) || nk_telegram::sortTelegrams(a, a) ||
               nk_telegram::sortTelegrams(none, a) || nk_telegram::sortTelegrams(b, none));
}

}  // namespace
