#include "nkProtocol/telegram.h"

#include <gtest/gtest.h>

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
  tLinkEnd end;
  end.out = &pipe;
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
  nk_telegram::setMaxPayloadSize(0);
  EXPECT_EQ(nk_telegram::s_u32MaxPayloadSize, 100u) << "parts of nothing would never end";
  struct tRow {
    unsigned int size, parts, lastSize;
  };
  for (tRow const& row :
       {tRow{0, 0, 0}, tRow{1, 1, 1}, tRow{100, 1, 100}, tRow{101, 2, 1}, tRow{350, 4, 50}}) {
    tBlob content = harness::noise(row.size);
    auto const parts = partsOf(content);
    ASSERT_EQ(parts.size(), row.parts);
    tBlob joined;
    for (unsigned int i = 0; i < row.parts; ++i) {
      EXPECT_EQ(parts[i]->partId(), i + 1);
      EXPECT_EQ(parts[i]->isLastPart(), i + 1 == row.parts);
      EXPECT_EQ(parts[i]->compression(), nk_telegramPart::COMPRESSION_NONE);
      joined.append(*parts[i]->payload());
    }
    EXPECT_EQ(joined == content, true);
    EXPECT_EQ(parts.empty() ? 0 : parts.back()->payload()->size(), row.lastSize);
  }
  nk_telegram::setMaxPayloadSize(before);
}

TEST(Telegram, CompressesInTheShortestForm) {
  struct tRow {
    tBlob content;
    nk_telegramPart::teCompression form;
  };
  for (tRow const& row :
       {tRow{harness::noise(3000), nk_telegramPart::COMPRESSION_NONE},
        tRow{hex("61"), nk_telegramPart::COMPRESSION_NONE},
        tRow{harness::bytes(std::string(500, 'x')), nk_telegramPart::COMPRESSION_RLE},
        tRow{harness::bytes("the panel the panel the panel the panel the panel the panel "),
             nk_telegramPart::COMPRESSION_HUFF}}) {
    auto const parts = partsOf(row.content);
    EXPECT_EQ(parts[0]->compression(), row.form) << harness::text(row.content);
    EXPECT_EQ(*parts[0]->isSinglePartTelegram() == row.content, true);
  }
  tBlob content = harness::bytes(std::string(500, 'x')), out;
  nk_telegram forbidden(7, 1, 2, nullptr, nullptr, nullptr, false, nullptr, false);
  EXPECT_FALSE(forbidden.checkCompression(&content, &out));
  nk_telegram allowed(7, 1, 2, nullptr, nullptr, nullptr, false, nullptr, true);
  EXPECT_FALSE(allowed.checkCompression(nullptr, &out));
  EXPECT_FALSE(allowed.checkCompression(&content, nullptr));
  EXPECT_TRUE(allowed.checkCompression(&content, &out));
}

TEST(Telegram, SendsAllBytesOrSaysSo) {
  harness::tFakeClock clock;
  struct tRow {
    char const* name;
    std::vector<tLinkEnd::tSendStep> steps;
    bool sent;
    unsigned int calls, slept_ms;
  };
  std::vector<tLinkEnd::tSendStep> const busy(5, {0, EAGAIN});
  std::vector<tLinkEnd::tSendStep> const four(4, {0, EAGAIN});
  auto fourTwice = four;
  fourTwice.push_back({3, 0});
  fourTwice.insert(fourTwice.end(), four.begin(), four.end());
  for (tRow const& row :
       {tRow{"at once", {}, true, 1, 0}, tRow{"in pieces", {{1, 0}, {5, 0}}, true, 3, 0},
        tRow{"busy four times", four, true, 5, 2000}, tRow{"busy five times", busy, false, 5, 2500},
        tRow{"progress starts the count anew", fourTwice, true, 10, 4000},
        tRow{"hard error", {{5, 0}, {0, EPIPE}}, false, 2, 0},
        tRow{"busy, then a hard error", {{0, EAGAIN}, {0, EPIPE}}, false, 2, 500}}) {
    SCOPED_TRACE(row.name);
    clock.slept_ms = 0;
    tBlob content = hex("61 62 63");
    nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
    EXPECT_TRUE(content.empty()) << "what is not compressed is consumed";
    harness::tPipe pipe;
    tLinkEnd end;
    end.out = &pipe;
    end.sendSteps = row.steps;
    EXPECT_EQ(telegram.send(nullptr, &end, tLinkEnd::send), row.sent);
    EXPECT_EQ(telegram.hasBeenSend(), row.sent);
    EXPECT_EQ(end.sendCalls, row.calls);
    EXPECT_EQ(clock.slept_ms, row.slept_ms);
    EXPECT_EQ(nk_telegramPart().streamContainsTelegram(&pipe.bytes), row.sent);
  }
  tBlob content = hex("61");
  nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
  EXPECT_FALSE(telegram.send(nullptr, nullptr, nullptr));
}

TEST(Telegram, TimesOutOnlyAfterTheWholeTime) {
  harness::tFakeClock clock;
  nk_telegram telegram(7, 1, 2, nullptr, ignore, nullptr, false, nullptr, true);
  clock.advance(10);
  EXPECT_FALSE(telegram.timeout());
  clock.advance(1);
  EXPECT_TRUE(telegram.timeout()) << "10 s unless set";
  telegram.setTimeout_s(11);
  EXPECT_FALSE(telegram.timeout());
  telegram.setTimeout_s(0x7FFFFFFFFFFFFFFFLL);
  EXPECT_FALSE(telegram.timeout()) << "the sum would pass 64 bits";
  telegram.setTimeout_s(-12);
  EXPECT_TRUE(telegram.timeout());
}

struct tArrival {
  unsigned int id;
  bool last;
};

TEST(Telegram, PutsPartsTogether) {
  struct tRow {
    char const* name;
    std::vector<tArrival> parts;
    /// What becomes of it when the part at the end of the list is the last.
    char const* content;
    unsigned int filed;
  };
  for (tRow const& row :
       {tRow{"in order", {{1, false}, {2, false}, {3, true}}, "123", 3},
        tRow{"one more", {{1, false}, {2, true}, {3, true}}, "123", 3},
        tRow{"twice each", {{1, false}, {1, false}, {2, false}, {2, false}, {3, true}}, "123", 3},
        tRow{"last one early", {{1, false}, {3, true}}, "corrupt", 2},
        tRow{"middle ones swapped", {{2, false}, {1, false}, {3, true}}, "123", 3},
        tRow{"last one first", {{2, true}, {1, false}}, "incomplete", 2},
        tRow{"a gap", {{1, false}, {2, false}, {4, true}}, "corrupt", 3},
        tRow{"not from one", {{0, false}, {1, true}}, "corrupt", 2}}) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<nk_telegram> telegram;
    unsigned int filed = 0;
    for (auto const& arrival : row.parts) {
      auto const digit = static_cast<char>('0' + arrival.id);
      tBlob payload(&digit, 1);
      auto part = partOf(arrival.id, arrival.last, &payload);
      if (telegram == nullptr) {
        telegram = std::make_unique<nk_telegram>(&part);
        ++filed;
      } else if (telegram->addTelegramPart(&part)) {
        ++filed;
      }
    }
    EXPECT_EQ(filed, row.filed);
    EXPECT_FALSE(telegram->addTelegramPart(nullptr));
    std::string content = "incomplete";
    if (telegram->lastPartPresent()) {
      content = telegram->isCorrupt() ? "corrupt" : harness::text(*telegram->getCompleteContent());
    }
    EXPECT_EQ(content, row.content);
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

TEST(Telegram, NotifiesWhoAsked) {
  struct tCalls {
    int answers = 0, timeouts = 0;
    static void count(unsigned int, tBlob* content, void*, bool timedOut, void* userData) {
      auto& calls = *static_cast<tCalls*>(userData);
      ++(timedOut ? calls.timeouts : calls.answers);
      EXPECT_EQ(content == nullptr, timedOut);
    }
  } calls;
  tBlob answer;
  nk_telegram asking(7, 1, 2, nullptr, tCalls::count, nullptr, false, &calls, true);
  nk_telegram telling(7, 1, 2, nullptr, nullptr, nullptr, false, &calls, true);
  for (nk_telegram* telegram : {&asking, &telling}) {
    telegram->notifyResponse(2, &answer);
    telegram->notifyTimeout();
    EXPECT_EQ(telegram->waitForResponse(), telegram == &asking);
    EXPECT_TRUE(telegram->isOutgoingRequest(1) && !telegram->isOutgoingRequest(2));
  }
  EXPECT_EQ(calls.answers, 1);
  EXPECT_EQ(calls.timeouts, 1);
}

TEST(Telegram, OrdersPartsAndNullByNumber) {
  auto low = partOf(1, false, nullptr), high = partOf(2, false, nullptr);
  nk_telegramPart *a = &low, *b = &high, *none = nullptr;
  EXPECT_TRUE(nk_telegram::sortTelegrams(b, a));
  EXPECT_FALSE(nk_telegram::sortTelegrams(a, b) || nk_telegram::sortTelegrams(a, a) ||
               nk_telegram::sortTelegrams(none, a) || nk_telegram::sortTelegrams(b, none));
}

}  // namespace
