#include "nkProtocol/protocol.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "harness/logHook.h"
#include "nkSupport/tCompression.h"

namespace {

using harness::tEndpoint;
using harness::tPair;
using tLines = std::vector<std::string>;

class Protocol : public testing::Test {
 protected:
  Protocol() { nk_protocol::u32TlgNumber = 0; }
  ~Protocol() override {
    nk_protocol::setMaxPayloadSize(0x100000);
    tCompression::setMaxDecodedSize(64 << 20);
  }

  harness::tFakeClock clock;
  tPair pair;
};

/// A part of telegram 5 that no engine made, and what it asks for.
struct tArrival {
  unsigned int destination, partId;
  bool last;
  std::string_view payload;
  int type = nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE;
  nk_basicTelegram::teCompression compression = nk_basicTelegram::COMPRESSION_NONE;
};

void push(tEndpoint& to, tArrival const& arrival, unsigned int id = 5) {
  tBlob bytes = harness::bytes(arrival.payload), frame;
  nk_telegramPart part(id, 1, arrival.destination, arrival.partId, 0, arrival.last, &bytes,
                       nk_basicTelegram::teType(arrival.type), arrival.compression);
  EXPECT_TRUE(part.serialize(&frame));
  to.engine.pushData(frame.data(), frame.size());
}

TEST_F(Protocol, ARequestGetsItsAnswer) {
  int user = 0;
  pair.b.reply = "fine";
  pair.a.request("how are you", 2, 0, &user);
  pair.exchange();
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].userData, &user);
  EXPECT_EQ(pair.a.takeLog(),
            (tLines{"send request with response required, don't remove' (tid: 1; src: 1; dest: 2)",
                    "stream contains data", "received telegram for me (tlg-id: 1)",
                    "received single part telegram (tlg-id: 1)", "handle response (size 4)",
                    "remove request"}));
  EXPECT_EQ(pair.b.takeLog(),
            (tLines{"stream contains data", "received telegram for me (tlg-id: 1)",
                    "received single part telegram (tlg-id: 1)",
                    "prot: send response (id: 1; src: 2; dest: 1)",
                    "send response telegram, remove it (tid: 1; src: 2; dest: 1)"}));
}

TEST_F(Protocol, ARequestInPartsIsPutTogether) {
  nk_protocol::setMaxPayloadSize(2);
  pair.a.tell("abcde", 2);
  pair.a.poll();
  pair.b.poll();
  ASSERT_EQ(pair.b.requests.size(), 1u);
  EXPECT_EQ(pair.b.requests[0].content, "abcde");
  EXPECT_EQ(pair.b.takeLog(),
            (tLines{"stream contains data", "received telegram for me (tlg-id: 1)",
                    "received telegram part for new context (tlg.-id: 1)",
                    "received telegram with multiple parts - incomplete (tlg-id: 1)",
                    "stream contains data", "received telegram for me (tlg-id: 1)",
                    "received telegram is NOT complete now",
                    "received telegram with multiple parts - incomplete (tlg-id: 1)",
                    "stream contains data", "received telegram for me (tlg-id: 1)",
                    "received telegram is now complete (tlg.-id: 1, content: 5 bytes)",
                    "received telegram with multiple parts - complete (tlg-id: 1)",
                    "no response to request required", "telegram handled, remove it (tlg-id: 1)"}));
  EXPECT_EQ(pair.a.takeLog(), tLines{"send request without response required, remove it (tid: 1; "
                                     "src: 1; dest: 2)"});
}

TEST_F(Protocol, AnEngineMayHaveAPayloadSizeOfItsOwn) {
  auto const payloadSizes = [](tBlob stream) {
    std::vector<unsigned int> sizes;
    for (nk_telegramPart part; part.streamContainsTelegram(&stream);)
      sizes.push_back(part.payload()->size());
    return sizes;
  };
  using tSizes = std::vector<unsigned int>;
  tPair other;
  nk_protocol::setMaxPayloadSize(4);
  pair.b.engine.setPayloadSize(3);
  pair.b.reply = "7 bytes";
  for (unsigned int const own : {2u, 0u}) {  // what is queued keeps its size
    pair.a.engine.setPayloadSize(own);
    pair.a.request("7 bytes", 2);
  }
  other.a.tell("7 bytes", 2);
  pair.a.poll(), other.a.poll();
  EXPECT_EQ(payloadSizes(pair.toB.bytes), (tSizes{2, 2, 2, 1, 4, 3}));
  EXPECT_EQ(payloadSizes(other.toB.bytes), (tSizes{4, 3}));
  pair.b.poll(), pair.b.poll();
  EXPECT_EQ(payloadSizes(pair.toA.bytes), (tSizes{3, 3, 1, 3, 3, 1}));
}

TEST_F(Protocol, TimesOutOnceAfterTheRequestsTimeOrTheDefault) {
  // Clocks of 32 bits end in 2038 and 2106.
  for (long long const start : {1700000000LL, 0x7FFFFFFELL, 0xFFFFFFFELL, 0x100001000LL}) {
    SCOPED_TRACE(start);
    nk_protocol::u32TlgNumber = 0;
    pair.a.answers.clear();
    clock.advance(start - clock.now());
    for (unsigned int const timeout_s : {0u, 2u, 2u, 5u}) pair.a.request("?", 2, timeout_s);
    for (unsigned int second = 0; second <= 11; ++second, clock.advance(1)) {
      pair.a.takeLog();
      pair.a.poll();
      ASSERT_EQ(pair.a.answers.size(), (second > 2 ? 2u : 0u) + (second > 5) + (second > 10));
      if (second != 3) continue;
      EXPECT_EQ(pair.a.takeLog(),
                (tLines{"outgoing request timed out, notify timeout and remove (tid: 2)",
                        "outgoing request timed out, notify timeout and remove (tid: 3)"}));
    }
    EXPECT_TRUE(pair.a.answers[0].timedOut && pair.a.answers[0].content == "(null)");
    EXPECT_EQ(pair.a.answers[0].address, 0xFFFFFFFFu);
  }
}

TEST_F(Protocol, SaysWhatBecomesOfATelegram) {
  using tPart = nk_basicTelegram;
  constexpr char answers[] = "prot: send response (id: 5; src: 2; dest: 1)";
  constexpr auto asks = tPart::TYPE_REQUEST_FORCE_RESPONSE;
  constexpr auto huffman = tPart::COMPRESSION_HUFF;
  struct {
    char const *line, *requests;  // one line of the log
    std::vector<tArrival> parts;
  } const rows[] = {
      {"received broadcast telegram (tlg-id: 5)", "<all>", {{0xFFFFFFFE, 1, true, "all"}}},
      {"received telegram is addressed to another instance (1 -> 3; own address: 2)",
       "",
       {{3, 1, true, "not yours", tPart::TYPE_RESPONSE}}},
      {answers, "<of no type>", {{2, 1, true, "of no type", 0}}},
      {answers, "<wants no answer>", {{2, 1, true, "wants no answer"}}},
      {"did not find request for response", "", {{2, 1, true, "late", tPart::TYPE_RESPONSE}}},
      {"received complete telegram is corrupt, remove it (tlg.-id: 5)",
       "",
       {{2, 1, false, "a"}, {2, 3, true, "c"}}},
      {"received single part telegram (tlg-id: 5)", "<>", {{2, 1, true, "no", asks, huffman}}},
      {"received telegram is now complete (tlg.-id: 5, content: 0 bytes)",
       "<>",
       {{2, 1, false, "no ", asks, huffman}, {2, 2, true, "code", asks, huffman}}},
  };
  for (auto const& row : rows) {
    tPair fresh;
    fresh.b.reply = "reply";
    for (auto const& part : row.parts) push(fresh.b, part);
    fresh.b.poll();
    std::string requests;
    for (auto const& request : fresh.b.requests) requests += "<" + request.content + ">";
    EXPECT_EQ(requests, row.requests) << row.line;
    auto const log = fresh.b.takeLog();
    EXPECT_NE(std::find(log.begin(), log.end(), row.line), log.end()) << row.line;
  }
}

TEST_F(Protocol, WhatCannotBeSentIsDroppedWithoutACall) {
  pair.a.request("x", 2);
  pair.a.tell("y", 2);
  pair.a.engine.poll(nullptr, nullptr, nullptr, nullptr);
  tLines const dropped(2, "can't send telegram, no send method, remove telegram");
  EXPECT_EQ(pair.a.takeLog(), dropped);
  pair.a.request("x", 2);
  pair.a.end.sendSteps = {{0, EPIPE}};
  pair.a.poll();
  EXPECT_EQ(pair.a.takeLog(), tLines{"sending telegram failed, remove it (tid: 3)"});
  clock.advance(100);
  pair.a.poll();
  EXPECT_TRUE(pair.a.answers.empty());
}

// The ceiling is for what content decodes to: plain content may be larger, in one part or more.
TEST_F(Protocol, TheCeilingIsForDecodedContent) {
  tCompression::setMaxDecodedSize(1000);
  pair.a.tell(harness::text(harness::noise(1001)), 2);
  nk_protocol::setMaxPayloadSize(600);
  pair.a.tell(harness::text(harness::noise(1001)), 2);
  pair.a.tell(std::string(1001, 'x'), 2);
  pair.a.poll();
  pair.b.poll();
  std::vector<std::size_t> sizes;
  for (auto const& request : pair.b.requests) sizes.push_back(request.content.size());
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1001, 1001, 0}));
}

// A payload has the memory that the engine reads frames with, so its capacity shows what is kept.
TEST_F(Protocol, MemoryForLargeFramesIsKeptWhileTheyComeAndThenGivenBack) {
  constexpr unsigned int large = 8 << 20, small = 100;
  nk_protocol::setMaxPayloadSize(large);
  unsigned int capacity = 0;
  auto const note = [](unsigned int, tBlob* content, void* context) {
    *static_cast<unsigned int*>(context) = content->capacity();
    content->truncate(0);
  };
  nk_protocol engine(2, note, &capacity, 1, nullptr, nullptr, nullptr);
  auto const capacityFor = [&](unsigned int size) {
    pair.a.tell(harness::text(harness::noise(size)), 2);
    pair.a.poll();
    engine.poll(nullptr, &pair.b.end, nullptr, harness::tLinkEnd::receive);
    return capacity;
  };
  capacityFor(large);
  EXPECT_GE(capacityFor(small), large) << "what was just needed is kept for the next frame";
  EXPECT_LT(capacityFor(small), 4u << 20);
}

TEST_F(Protocol, FramesBehindABadOneWaitForNewBytes) {
  unsigned char bad[] = {1, 0x80, 2}, anything = 0x55;
  pair.b.engine.pushData(bad, sizeof bad);
  push(pair.b, {2, 1, true, "good"});
  for (unsigned int const more : {0u, 0u, 1u}) {
    pair.b.engine.pushData(more == 0 ? nullptr : &anything, more);
    EXPECT_TRUE(pair.b.requests.empty());
    pair.b.poll();
  }
  EXPECT_EQ(pair.b.requests.size(), 1u);
}

TEST_F(Protocol, ReadsUntilTheLinkGivesLessThanItWasAskedFor) {
  using tCounts = std::vector<unsigned int>;  // what is given in reverse order
  auto const receive = [](nk_server*, void* ctx, unsigned char* data, unsigned int length,
                          int* error) {
    EXPECT_TRUE(length == 32768 && error == nullptr);
    std::memset(data, 0x80, length);
    auto& counts = *static_cast<tCounts*>(ctx);
    unsigned int const count = counts.back();
    counts.pop_back();
    return count;
  };
  struct {
    tCounts counts;
    std::size_t left;
    unsigned int total;
  } rows[] = {{{9, 0}, 1, 0},
              {{9, 5, 32768, 32768}, 1, 65541},
              {{9, 32767}, 1, 32767},
              {{1, 40000}, 0, 32769}};
  for (auto& row : rows) {
    EXPECT_EQ(pair.a.engine.recvData(nullptr, &row.counts, receive), row.total);
    EXPECT_EQ(row.counts.size(), row.left);
  }
}

TEST_F(Protocol, TheReceiveFunctionMayPushData) {
  pair.a.tell("pushed", 2);
  pair.a.poll();
  auto const receive = [](nk_server*, void* ctx, unsigned char*, unsigned int, int*) {
    auto& [toB, toA, a, b] = *static_cast<tPair*>(ctx);
    b.engine.pushData(toB.bytes.data(), toB.bytes.size());
    return 0u;
  };
  pair.b.engine.poll(nullptr, &pair, nullptr, receive);
  EXPECT_EQ(pair.b.requests.size(), 1u);
}

void askAgain(unsigned int, tBlob* content, void* endpoint, bool, void* left) {
  if (--*static_cast<int*>(left) == 0) return;
  static_cast<tEndpoint*>(endpoint)->engine.enqueue_TS(content, 2, askAgain, 0, left);
}

TEST_F(Protocol, CallbacksMayEnqueue) {
  int left = 5;
  pair.b.reply = "ok";
  tBlob content = harness::bytes("first");
  pair.a.engine.enqueue_TS(&content, 2, askAgain, 0, &left);
  for (int exchange = 1; exchange <= 5; ++exchange) {
    pair.exchange();
    EXPECT_EQ(left, 5 - exchange);
  }
}

TEST_F(Protocol, ADamagedAnswerFromAnotherAddressCompletesItsRequest) {
  pair.a.request("?", 2);
  push(pair.a,
       {1, 1, true, "no", nk_basicTelegram::TYPE_RESPONSE, nk_basicTelegram::COMPRESSION_HUFF}, 1);
  pair.a.poll();
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].content, "");
}

// Files one more part, within the callback, of a telegram whose parts 1 and 2 (the last) came.
TEST_F(Protocol, ACallbackMayFileFurtherPartsOfWhatItHandles) {
  struct tFiler {
    unsigned int size, number;
    std::string_view line;  // of the log, which comes once
    nk_protocol* engine = nullptr;
    unsigned int logged = 0;
    static void file(unsigned int, tBlob* content, void* context) {
      auto& filer = *static_cast<tFiler*>(context);
      tBlob payload("!", 1);
      nk_telegramPart part(5, 1, 2, filer.number, 0x65431234, true, &payload,
                           nk_basicTelegram::TYPE_RESPONSE, nk_basicTelegram::COMPRESSION_NONE);
      nk_telegram* complete = nullptr;
      tBlob* const whole = filer.engine->checkTlgPartMatch_TS(&part, &complete);
      EXPECT_EQ(whole != nullptr, complete != nullptr);
      content->clear();  // there even if the telegram was deleted
    }
    static void log(void* context, char const* text) {
      auto& filer = *static_cast<tFiler*>(context);
      filer.logged += text == filer.line;
    }
  } rows[] = {
      {1, 3, "received telegram is now complete (tlg.-id: 5, content: 3 bytes)"},
      {1, 4, "received complete telegram is corrupt, remove it (tlg.-id: 5)"},
      {1 << 16, 3, "received telegram is now complete, but has no content, remove it (tlg.-id: 5)"},
  };
  for (auto& filer : rows) {
    nk_protocol engine(2, tFiler::file, &filer, 10, nullptr, &filer, tFiler::log);
    filer.engine = &engine;
    for (unsigned int const number : {1u, 2u}) {
      auto frame = harness::bytes(harness::bytesOf({.id = 5,
                                                    .number = number,
                                                    .last = number == 2,
                                                    .from = 1,
                                                    .to = 2,
                                                    .size = filer.size}));
      engine.pushData(frame.data(), frame.size());
    }
    engine.poll(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(filer.logged, 1u) << filer.line;
  }
}

TEST_F(Protocol, TheNumberAfterTheLastIsZeroAndTheFirstOfEqualNumbersIsMeant) {
  int users[4];
  for (int i = 0; i < 4; ++i) {
    if (i % 2 == 0) nk_protocol::u32TlgNumber = 0xFFFFFFFE;
    pair.a.request("?", 2, 0, &users[i]);
  }
  push(pair.a, {1, 1, true, "zero", nk_basicTelegram::TYPE_RESPONSE}, 0);
  pair.a.poll();
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].userData, &users[1]);
}

TEST_F(Protocol, TheLayersAboveLogThroughTheLatestEngine) {
  {
    nk_protocol first(1, nullptr, nullptr, 1, harness::hook, nullptr, nullptr);
    nk_protocol::logProt("%s-%d", "a", 1);
    nk_protocol::logProt(nullptr);
    nk_protocol second(1, nullptr, nullptr, 1, nullptr, nullptr, nullptr);
    nk_protocol::logProt("unheard %d", 2);
  }
  EXPECT_EQ(harness::hookedText, "a-1");
}

TEST_F(Protocol, WithoutAReceiveCallbackRequestsAreDropped) {
  nk_protocol deaf(2, nullptr, nullptr, 1, nullptr, nullptr, nullptr);
  pair.a.tell("x", 2);
  pair.a.poll();
  deaf.poll(nullptr, &pair.b.end, harness::tLinkEnd::send, harness::tLinkEnd::receive);
  deaf.poll(nullptr, &pair.b.end, harness::tLinkEnd::send, nullptr);
  EXPECT_TRUE(pair.toA.bytes.empty());
}

TEST_F(Protocol, EnqueuesFromSeveralThreadsWhileItPolls) {
  constexpr unsigned int each = 200;
  pair.b.reply = "ok";
  std::vector<std::thread> senders;
  for (int t = 0; t < 4; ++t) {
    senders.emplace_back([this] {
      for (unsigned int i = 0; i < each; ++i) pair.a.request("?", 2);
    });
  }
  // A second engine numbers its telegrams from the same counter.
  tPair other;
  for (unsigned int i = 0; i < each; ++i) {
    other.a.request("!", 2);
    pair.exchange();
  }
  for (auto& sender : senders) sender.join();
  for (int i = 0; i < 2; ++i) pair.exchange();
  EXPECT_EQ(pair.a.answers.size(), 4 * each);
  EXPECT_EQ(nk_protocol::u32TlgNumber, 5 * each);
}

}  // namespace
