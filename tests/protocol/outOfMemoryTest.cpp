#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string_view>

#include "harness/clock.h"
#include "harness/link.h"
#include "nkProtocol/configMessages.h"

namespace {
constexpr unsigned int none = 0xFFFFFFFF;
unsigned int allocationsLeft = none;  // how many succeed before the others fail
}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft != none && allocationsLeft-- == 0) {
    allocationsLeft = 0;
    throw std::bad_alloc();
  }
  void* const bytes = std::malloc(size != 0 ? size : 1);
  if (bytes == nullptr) throw std::bad_alloc();
  return bytes;
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return operator new(size);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}
void operator delete(void* bytes) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::nothrow_t const&) noexcept { std::free(bytes); }

namespace {

/// An engine whose callbacks take no memory.
struct tNode {
  tNode(unsigned int address, harness::tPipe& in, harness::tPipe& out)
      : engine(address, received, this, 10, nullptr, this, logged) {
    end.in = &in;
    end.out = &out;
  }
  void poll() { engine.poll(nullptr, &end, harness::tLinkEnd::send, harness::tLinkEnd::receive); }

  static void received(unsigned int, tBlob*, void*) {}  // what was asked is the answer
  static void answered(unsigned int, tBlob*, void* context, bool, void* userData) {
    ++static_cast<tNode*>(context)->completed;
    EXPECT_EQ(++*static_cast<unsigned int*>(userData), 1u);
  }

  static void logged(void* context, char const* text) {
    std::string_view const line(text);
    static_cast<tNode*>(context)->refused += line == "prot: appending telegram to queue failed" ||
                                             line.starts_with("sending telegram failed, remove it");
  }

  unsigned int completed = 0, refused = 0;
  harness::tLinkEnd end;
  nk_protocol engine;
};

// Whichever allocation is the last that succeeds for a while: nothing is thrown out of a call,
// every request is refused, answered or timed out once, and the engine works as before afterwards.
TEST(OutOfMemory, NothingIsThrownAndNoRequestIsForgotten) {
  constexpr unsigned int requests = 5;
  nk_protocol::setMaxPayloadSize(16);
  bool reached = true;  // the last round was refused some memory
  for (unsigned int succeed = 0; reached; ++succeed) {
    SCOPED_TRACE(succeed);
    harness::tFakeClock clock;
    harness::tPipe toB, toA;
    tNode a(1, toA, toB), b(2, toB, toA);
    auto const exchange = [&](unsigned int(&counts)[requests]) {
      for (unsigned int& count : counts) {
        tBlob content("as many bytes as make several parts", 35);
        a.engine.enqueue_TS(&content, 2, tNode::answered, 0, &count);
      }
      for (tNode* const node : {&a, &b, &b, &a}) node->poll();
      clock.advance(11);
      a.poll();
    };
    unsigned int first[requests] = {}, second[requests] = {};
    allocationsLeft = succeed;
    EXPECT_NO_THROW(exchange(first));
    reached = allocationsLeft == 0;
    allocationsLeft = none;
    a.poll();
    EXPECT_EQ(a.completed + a.refused, requests);
    exchange(second);
    EXPECT_EQ(a.completed + a.refused, 2 * requests);
    EXPECT_EQ(second[0], 1u);
  }
  nk_protocol::setMaxPayloadSize(0x100000);
}

TEST(OutOfMemory, WhatIsNotAddedLeavesNoTrace) {
  bool done = false;
  for (unsigned int succeed = 0; !done; ++succeed) {
    SCOPED_TRACE(succeed);
    tBlob content("abc", 3);
    nk_telegram telegram(7, 1, 2, &content, nullptr, nullptr, false, nullptr, true);
    nk_telegramPart part(7, 1, 2, 3, 0, true, nullptr, nk_telegram::TYPE_RESPONSE,
                         nk_telegram::COMPRESSION_NONE);
    nk_messageSetConfigReq config(nk_message::VERSION_3);
    tString const name("a name too long to be within the string itself");
    std::vector<unsigned long long> const ids{0xFFFFFFFFFFFFFFFF};
    bool added = false;
    allocationsLeft = succeed;
    EXPECT_NO_THROW(added = telegram.addTelegramPart(&part));
    EXPECT_NO_THROW(config.frm_change_ts(name, 0, 0, 1, 1, 42, 0, 0));
    EXPECT_NO_THROW(nk_message::vectorU64Checksum(ids));
    EXPECT_NO_THROW(config.checksum(nk_message::VERSION_3));
    done = allocationsLeft != 0;
    allocationsLeft = none;
    EXPECT_EQ(telegram.isCorrupt(), added) << "by a third part without the second";
    EXPECT_EQ(telegram.getCompleteContent()->size(), 3u);
    tFrame frame;
    EXPECT_EQ(config.frm_getById(42, &frame), config.frm_count() == 1);
    EXPECT_EQ(config.frame_get(0) != nullptr, config.frm_count() == 1);
  }
}

}  // namespace
