#include "nkProtocol/protocol.h"

#include <gtest/gtest.h>

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

  /// A frame of a telegram that no engine made.
  static void push(
      tEndpoint& to, unsigned int id, unsigned int src, unsigned int dest, unsigned int partId,
      bool last, std::string_view payload,
      nk_basicTelegram::teType type = nk_basicTelegram::TYPE_REQUEST_FORCE_RESPONSE,
      nk_basicTelegram::teCompression compression = nk_basicTelegram::COMPRESSION_NONE) {
    tBlob bytes = harness::bytes(payload);
    nk_telegramPart part(id, src, dest, partId, 0, last, &bytes, type, compression);
    tBlob frame;
    EXPECT_TRUE(part.serialize(&frame));
    to.engine.pushData(frame.data(), frame.size());
  }

  harness::tFakeClock clock;
  tPair pair;
};

TEST_F(Protocol, ARequestGetsItsAnswer) {
  int user = 0;
  pair.b.reply = "fine";
  pair.a.request("how are you", 2, 0, &user);
  pair.exchange();
  ASSERT_EQ(pair.b.requests.size(), 1u);
  EXPECT_EQ(pair.b.requests[0].address, 1u);
  EXPECT_EQ(pair.b.requests[0].content, "how are you");
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].address, 2u);
  EXPECT_EQ(pair.a.answers[0].content, "fine");
  EXPECT_FALSE(pair.a.answers[0].timedOut);
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
  clock.advance(100);
  pair.a.poll();
  EXPECT_EQ(pair.a.answers.size(), 1u) << "an answered request does not time out";
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

TEST_F(Protocol, LargeContentComesThroughWholeInAnyPieces) {
  for (unsigned int const readLimit : {1u, 7u, 1448u, 32768u, 100000u}) {
    pair.toB.readLimit = readLimit;
    tBlob content = harness::noise(readLimit == 1 ? 3000 : 150000, readLimit);
    std::string const expected = harness::text(content);
    pair.a.request(expected, 2);
    pair.a.poll();
    while (!pair.toB.bytes.empty()) pair.b.poll();
    pair.b.poll();
    ASSERT_EQ(pair.b.requests.size(), 1u) << readLimit;
    EXPECT_EQ(pair.b.requests[0].content == expected, true) << readLimit;
    pair.b.requests.clear();
  }
}

TEST_F(Protocol, TimesOutOnceAfterTheRequestsTimeOrTheDefault) {
  pair.a.request("default", 2);  // 10 s
  pair.a.request("two seconds", 2, 2);
  pair.a.request("two as well", 2, 2);
  pair.a.poll();
  clock.advance(2);
  pair.a.poll();
  EXPECT_TRUE(pair.a.answers.empty());
  clock.advance(1);
  pair.a.takeLog();
  pair.a.poll();
  EXPECT_EQ(pair.a.takeLog(),
            (tLines{"outgoing request timed out, notify timeout and remove (tid: 2)",
                    "outgoing request timed out, notify timeout and remove (tid: 3)"}));
  ASSERT_EQ(pair.a.answers.size(), 2u);
  EXPECT_TRUE(pair.a.answers[0].timedOut);
  EXPECT_EQ(pair.a.answers[0].address, 0xFFFFFFFFu);
  EXPECT_EQ(pair.a.answers[0].content, "(null)");
  clock.advance(7);
  pair.a.poll();
  EXPECT_EQ(pair.a.answers.size(), 2u);
  clock.advance(1);
  pair.a.poll();
  EXPECT_EQ(pair.a.answers.size(), 3u);
  // The late answers find nobody.
  pair.b.reply = "late";
  pair.b.poll();
  pair.b.poll();
  pair.a.takeLog();
  pair.a.poll();
  EXPECT_EQ(pair.a.answers.size(), 3u);
  EXPECT_EQ(pair.a.takeLog().back(), "did not find request for response");
}

TEST_F(Protocol, TimesOutAsEverWhereClocksOf32BitsEnd) {
  for (long long const end : {0x7FFFFFFFLL, 0xFFFFFFFFLL, 0x100001000LL}) {  // 2038, 2106 and after
    clock.advance(end - 1 - clock.now());
    pair.a.answers.clear();
    pair.a.request("?", 2, 3);
    for (unsigned int second = 0; second <= 3; ++second, clock.advance(1)) {
      pair.a.poll();
      EXPECT_TRUE(pair.a.answers.empty()) << end << " + " << second;
    }
    pair.a.poll();
    ASSERT_EQ(pair.a.answers.size(), 1u) << end;
    EXPECT_TRUE(pair.a.answers[0].timedOut);
  }
}

TEST_F(Protocol, OnlyTheFirstOfTwoAnswersCounts) {
  pair.a.request("?", 2);
  pair.a.poll();
  push(pair.a, 1, 9, 1, 1, true, "from another address", nk_basicTelegram::TYPE_RESPONSE);
  push(pair.a, 1, 2, 1, 1, true, "second", nk_basicTelegram::TYPE_RESPONSE);
  pair.a.takeLog();
  pair.a.poll();
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].address, 9u);
  EXPECT_EQ(pair.a.answers[0].content, "from another address");
  EXPECT_EQ(pair.a.takeLog().back(), "did not find request for response");
}

TEST_F(Protocol, BroadcastsReachEveryoneAndMayBeAnswered) {
  pair.b.reply = "here";
  pair.a.request("who is there", 0xFFFFFFFE);
  pair.exchange();
  ASSERT_EQ(pair.a.answers.size(), 1u);
  EXPECT_EQ(pair.a.answers[0].address, 2u);
  EXPECT_EQ(pair.b.takeLog()[1], "received broadcast telegram (tlg-id: 1)");
  pair.a.takeLog();
  push(pair.a, 5, 2, 3, 1, true, "not yours");
  pair.a.poll();
  EXPECT_EQ(
      pair.a.takeLog(),
      (tLines{"stream contains data",
              "received telegram is addressed to another instance (2 -> 3; own address: 1)"}));
  EXPECT_TRUE(pair.a.requests.empty());
}

TEST_F(Protocol, ContentLeftBehindAnswersEvenWhatWantsNoAnswer) {
  pair.b.reply = "unasked";
  pair.a.tell("just so you know", 2);
  pair.exchange();
  EXPECT_EQ(pair.a.takeLog().back(), "did not find request for response");
}

TEST_F(Protocol, ATypeOfNoneIsARequest) {
  pair.b.reply = "answer";
  push(pair.b, 5, 1, 2, 1, true, "type 0", nk_basicTelegram::teType(0));
  pair.b.poll();
  ASSERT_EQ(pair.b.requests.size(), 1u);
  EXPECT_EQ(pair.b.requests[0].content, "type 0");
  EXPECT_EQ(pair.b.takeLog().back(), "prot: send response (id: 5; src: 2; dest: 1)");
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

TEST_F(Protocol, PartsInTheWrongOrderAreDropped) {
  push(pair.b, 5, 1, 2, 1, false, "a");
  push(pair.b, 5, 1, 2, 3, true, "c");
  push(pair.b, 5, 1, 2, 2, false, "b");
  push(pair.b, 5, 1, 2, 2, false, "b");
  pair.b.poll();
  EXPECT_TRUE(pair.b.requests.empty());
  auto const log = pair.b.takeLog();
  ASSERT_EQ(log.size(), 15u);
  EXPECT_EQ(log[6], "received complete telegram is corrupt, remove it (tlg.-id: 5)");
  EXPECT_EQ(log[7], "received telegram with multiple parts - incomplete (tlg-id: 5)");
  EXPECT_EQ(log[10], "received telegram part for new context (tlg.-id: 5)");
  EXPECT_EQ(log[14], "received telegram with multiple parts - incomplete (tlg-id: 5)");
}

TEST_F(Protocol, PartsOfSeveralTelegramsMayCross) {
  for (unsigned int part : {1u, 2u}) {
    for (unsigned int source : {1u, 3u}) {
      for (unsigned int id : {5u, 6u}) {
        push(pair.b, id, source, 2, part, part == 2, std::to_string(source * 100 + id * 10 + part));
      }
    }
  }
  pair.b.poll();
  tLines contents;
  for (auto const& request : pair.b.requests) contents.push_back(request.content);
  EXPECT_EQ(contents, (tLines{"151152", "161162", "351352", "361362"}));
}

TEST_F(Protocol, ContentThatCannotBeDecompressedIsEmpty) {
  constexpr auto asking = nk_basicTelegram::TYPE_REQUEST_FORCE_RESPONSE;
  constexpr auto huffman = nk_basicTelegram::COMPRESSION_HUFF;
  pair.b.request("?", 1);
  pair.b.poll();
  push(pair.b, 1, 1, 2, 1, true, "no code", nk_basicTelegram::TYPE_RESPONSE, huffman);
  push(pair.b, 5, 1, 2, 1, true, "no huffman code", asking, huffman);
  push(pair.b, 6, 1, 2, 1, false, "no huffman", asking, huffman);
  push(pair.b, 6, 1, 2, 2, true, "code", asking, huffman);
  pair.b.takeLog();
  pair.b.poll();
  ASSERT_EQ(pair.b.answers.size(), 1u) << "a damaged answer completes its request";
  EXPECT_EQ(pair.b.answers[0].content + (pair.b.answers[0].timedOut ? " late" : ""), "");
  ASSERT_EQ(pair.b.requests.size(), 2u);
  EXPECT_EQ(pair.b.requests[0].content + pair.b.requests[1].content, "");
  auto const log = pair.b.takeLog();
  EXPECT_EQ(log[3], "handle response (size 0)");
  EXPECT_EQ(log[8], "no response to request required");
  EXPECT_EQ(log[15], "received telegram is now complete (tlg.-id: 6, content: 0 bytes)");
  // The ceiling is for what content decodes to: plain content may be larger, in one part or more.
  tCompression::setMaxDecodedSize(1000);
  pair.a.tell(harness::text(harness::noise(1001)), 2);
  nk_protocol::setMaxPayloadSize(600);
  pair.a.tell(harness::text(harness::noise(1001)), 2);
  pair.a.tell(std::string(1001, 'x'), 2);
  pair.b.requests.clear();
  pair.a.poll();
  pair.b.poll();
  std::vector<std::size_t> sizes;
  for (auto const& request : pair.b.requests) sizes.push_back(request.content.size());
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1001, 1001, 0}));
}

// A payload has the memory that the engine reads frames with, so its capacity shows what is kept.
TEST_F(Protocol, MemoryForLargeFramesIsKeptWhileTheyComeAndThenGivenBack) {
  constexpr unsigned int large = 8 << 20, small = 100;
  std::vector<unsigned int> capacities;
  auto const note = [](unsigned int, tBlob* content, void* context) {
    static_cast<decltype(capacities)*>(context)->push_back(content->capacity());
    content->truncate(0);
  };
  nk_protocol engine(2, note, &capacities, 1, nullptr, nullptr, nullptr);
  nk_protocol::setMaxPayloadSize(large);
  for (unsigned int const size : {large, small, small}) {
    pair.a.tell(harness::text(harness::noise(size)), 2);
    pair.a.poll();
    engine.poll(nullptr, &pair.b.end, nullptr, harness::tLinkEnd::receive);
  }
  ASSERT_EQ(capacities.size(), 3u);
  EXPECT_GE(capacities[1], large) << "what was just needed is kept for the next frame";
  EXPECT_LT(capacities[2], 4u << 20);
}

TEST_F(Protocol, FramesBehindABadOneWaitForNewBytes) {
  pair.a.tell("one", 2);
  pair.a.poll();
  tBlob stream = harness::hex("01 80 02");
  stream.append(pair.toB.bytes);
  pair.b.engine.pushData(stream.data(), stream.size());
  pair.toB.bytes.clear();
  pair.b.poll();
  pair.b.poll();
  EXPECT_TRUE(pair.b.requests.empty());
  unsigned char anything = 0x55;
  pair.b.engine.pushData(&anything, 1);
  pair.b.poll();
  EXPECT_EQ(pair.b.requests.size(), 1u);
}

TEST_F(Protocol, AnEndByteAheadOfTheFirstFrameBlocksTheStream) {
  unsigned char noise[] = {0xAA, 0x02};
  pair.b.engine.pushData(noise, sizeof noise);
  pair.b.engine.pushData(nullptr, 5);
  pair.b.engine.pushData(noise, 0);
  for (int i = 0; i < 3; ++i) {
    pair.a.tell("unheard", 2);
    pair.a.poll();
    pair.b.poll();
  }
  EXPECT_TRUE(pair.b.requests.empty());
  EXPECT_TRUE(pair.b.takeLog().empty());
}

TEST_F(Protocol, ReadsUntilTheLinkGivesLessThanItWasAskedFor) {
  struct tFeed {
    std::vector<unsigned int> counts;
    unsigned int calls = 0;
  };
  auto const receive = [](nk_server*, void* ctx, unsigned char* data, unsigned int length,
                          int* error) {
    auto& feed = *static_cast<tFeed*>(ctx);
    EXPECT_EQ(length, 32768u);
    EXPECT_EQ(error, nullptr);
    std::memset(data, 0x80, length);
    return feed.calls < feed.counts.size() ? feed.counts[feed.calls++] : 0u;
  };
  struct tRow {
    std::vector<unsigned int> counts;
    unsigned int calls, total;
  };
  for (tRow const& row : {tRow{{0, 9}, 1, 0}, tRow{{32768, 32768, 5, 9}, 3, 65541},
                          tRow{{32767, 9}, 1, 32767}, tRow{{40000, 1}, 2, 32769}}) {
    tFeed feed{row.counts};
    EXPECT_EQ(pair.a.engine.recvData(nullptr, &feed, receive), row.total);
    EXPECT_EQ(feed.calls, row.calls);
  }
}

TEST_F(Protocol, TheReceiveFunctionMayPushData) {
  pair.a.tell("pushed", 2);
  pair.a.poll();
  struct tLink {
    nk_protocol& engine;
    tBlob& bytes;
  } link{pair.b.engine, pair.toB.bytes};
  pair.b.engine.poll(nullptr, &link, nullptr,
                     [](nk_server*, void* ctx, unsigned char*, unsigned int, int*) {
                       auto& self = *static_cast<tLink*>(ctx);
                       self.engine.pushData(self.bytes.data(), self.bytes.size());
                       return 0u;
                     });
  EXPECT_EQ(pair.b.requests.size(), 1u);
}

TEST_F(Protocol, CallbacksMayEnqueue) {
  struct tChain {
    nk_protocol* engine;
    int left;
    static void next(unsigned int, tBlob*, void*, bool, void* userData) {
      auto& chain = *static_cast<tChain*>(userData);
      if (--chain.left == 0) return;
      tBlob content = harness::bytes("again");
      chain.engine->enqueue_TS(&content, 2, next, 0, userData);
    }
  } chain{&pair.a.engine, 5};
  pair.b.reply = "ok";
  tBlob content = harness::bytes("first");
  pair.a.engine.enqueue_TS(&content, 2, tChain::next, 0, &chain);
  for (int i = 0; i < 4; ++i) pair.exchange();
  EXPECT_EQ(chain.left, 1);
  pair.exchange();
  EXPECT_EQ(chain.left, 0);
}

TEST_F(Protocol, TheNumberAfterTheLastIsZeroAndTheFirstOfEqualNumbersIsMeant) {
  nk_protocol::u32TlgNumber = 0xFFFFFFFE;
  int users[4];
  for (int& user : users) {
    pair.a.request("?", 2, 0, &user);
    if (&user == &users[1]) nk_protocol::u32TlgNumber = 0xFFFFFFFE;
  }
  pair.a.poll();
  push(pair.a, 0, 2, 1, 1, true, "zero", nk_basicTelegram::TYPE_RESPONSE);
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
  constexpr int threads = 4;
  constexpr int each = 200;
  pair.b.reply = "ok";
  std::vector<std::thread> senders;
  for (int t = 0; t < threads; ++t) {
    senders.emplace_back([this] {
      for (int i = 0; i < each; ++i) pair.a.request("?", 2);
    });
  }
  // A second engine numbers its telegrams from the same counter.
  tPair other;
  for (int i = 0; i < each; ++i) {
    other.a.request("!", 2);
    other.a.poll();
    pair.exchange();
  }
  for (auto& sender : senders) sender.join();
  pair.exchange();
  pair.exchange();
  EXPECT_EQ(pair.a.answers.size(), static_cast<unsigned int>(threads * each));
  EXPECT_EQ(nk_protocol::u32TlgNumber, static_cast<unsigned int>((threads + 1) * each));
}

}  // namespace
