#include "link/linkGuard.h"

#include <gtest/gtest.h>

#include <random>

#include "harness/hex.h"
#include "harness/system.h"

namespace {

using std::chrono::milliseconds;
using tStrings = std::vector<std::string>;

constexpr unsigned int me = 1, panel = 2, other = 3, all = nk_basicTelegram::addressBroadcast;
constexpr auto asking = nk_basicTelegram::TYPE_REQUEST_FORCE_RESPONSE;
constexpr auto answering = nk_basicTelegram::TYPE_RESPONSE;

struct tFrame {
  unsigned int id;
  unsigned int number = 1;
  bool last = true;
  unsigned int from = panel;
  unsigned int to = me;
  nk_basicTelegram::teType type = asking;
  unsigned int timestamp = 0x65431234;
  unsigned int size = 3;  // of the payload
};

std::string bytesOf(tFrame const& frame) {
  tBlob payload = harness::noise(frame.size, frame.id), out;
  nk_telegramPart part(frame.id, frame.from, frame.to, frame.number, frame.timestamp, frame.last,
                       &payload, frame.type, nk_basicTelegram::COMPRESSION_NONE);
  EXPECT_TRUE(part.serialize(&out));
  return harness::text(out);
}

// A guard, the frames that it delivered, and its clock.
class tGuarded {
 public:
  explicit tGuarded(nk_linkGuard::tOptions const& options = {})
      : guard(
            [this, own = options]() mutable {
              own.now = [this] { return now; };
              return own;
            }(),
            [this](unsigned char* frame, unsigned int length) {
              delivered.emplace_back(reinterpret_cast<char*>(frame), length);
            }) {}
  // Receives `stream` in pieces of `size` bytes, and in one piece for 0.
  tStrings const& receive(std::string const& stream, unsigned int size = 0) {
    for (std::size_t done = 0; done < stream.size();) {
      auto const piece = stream.substr(done, size == 0 ? stream.npos : size);
      guard.receive(reinterpret_cast<unsigned char const*>(piece.data()),
                    static_cast<unsigned int>(piece.size()));
      received += piece.size();
      done += piece.size();
    }
    return delivered;
  }
  void sent(std::string const& bytes) {
    guard.sent(reinterpret_cast<unsigned char const*>(bytes.data()),
               static_cast<unsigned int>(bytes.size()));
  }

  nk_linkGuard::tMoment now{};
  tStrings delivered;
  unsigned long long received = 0;
  nk_linkGuard guard;
};

// The next intact telegram comes with its own last byte, whatever stood before it, and nothing
// comes that was not sent. Single flipped bits are damage that a CRC always sees.
TEST(linkGuard, deliversTheNextIntactTelegramAfterAnyDamage) {
  std::string const first = bytesOf({7}), next = bytesOf({8});
  tStrings damaged;
  for (int byte = 0; byte < 256; ++byte) {
    std::string const prefix(1, static_cast<char>(byte));
    damaged.insert(damaged.end(), {prefix, prefix + first.substr(1), first.substr(1) + prefix});
  }
  for (unsigned int cut = 0; cut < first.size(); ++cut) {
    for (auto const* junk : {"", "\x01", "\x02", "\x80"})
      damaged.push_back(first.substr(0, cut) + junk);
    damaged.push_back(first.substr(cut + 1));
    for (unsigned int bit = 0; bit < 8; ++bit) {
      damaged.push_back(first);
      damaged.back()[cut] = static_cast<char>(damaged.back()[cut] ^ (1 << bit));
    }
  }
  for (auto const& damage : damaged) {
    if (damage == first || damage == first + '\x01') continue;  // not damaged, as it turns out
    auto const shown = harness::toHex(harness::bytes(damage));
    for (unsigned int const size : {0u, 1u, 7u}) {
      tGuarded line;
      bool const harmless = damage.find(first) != damage.npos;
      line.receive(damage + next.substr(0, next.size() - 1), size);
      EXPECT_EQ(line.delivered.size(), harmless ? 1u : 0u) << shown;
      line.receive(next.substr(next.size() - 1));
      ASSERT_EQ(line.delivered.size(), harmless ? 2u : 1u) << shown;
      EXPECT_EQ(line.delivered.back(), next) << shown;
    }
  }
}

// Damage to several bytes of the payload, which only the CRC can tell, passes it once in 256 times.
TEST(linkGuard, letsNoMoreDamagePassThanTheCrcCannotTell) {
  std::mt19937 source(1);
  auto const first = bytesOf({7, 1, true, panel, me, asking, 1, 44});
  unsigned int damaged = 0, passed = 0;
  for (unsigned int round = 0; round < 60000; ++round) {
    auto stream = first;
    for (unsigned int hit = 0; hit < 4; ++hit)
      stream[30 + source() % 48] = static_cast<char>(0x80 | source());
    if (stream == first) continue;
    ++damaged;
    tGuarded line;
    passed += static_cast<unsigned int>(line.receive(stream).size());
  }
  RecordProperty("damaged", static_cast<int>(damaged));
  RecordProperty("passed", static_cast<int>(passed));
  EXPECT_GT(passed * 256.0 / damaged, 0.75) << passed << " of " << damaged;
  EXPECT_LT(passed * 256.0 / damaged, 1.25) << passed << " of " << damaged;
}

nk_linkGuard::tOptions with(std::function<void(nk_linkGuard::tOptions&)> const& change) {
  nk_linkGuard::tOptions options;
  change(options);
  return options;
}

using tCounters = nk_linkGuard::tCounters;

// Receives `frames`, with a pause after each; of them those with the indices `delivered` come out.
void cures(char const* what, nk_linkGuard::tOptions const& options,
           std::vector<tFrame> const& frames, std::vector<unsigned int> const& delivered,
           unsigned long long tCounters::*counter, unsigned long long count,
           unsigned int pause_ms = 0) {
  for (unsigned int const size : {0u, 1u}) {
    tGuarded line(options);
    line.sent(bytesOf({1, 1, true, me, panel}) + bytesOf({3, 1, true, me, all}) +
              bytesOf({2, 1, true, me, panel, nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE}));
    tStrings expected;
    for (auto const& frame : frames) {
      line.receive(bytesOf(frame), size);
      line.now += milliseconds(pause_ms);
    }
    line.guard.expire();
    for (auto const index : delivered) expected.push_back(bytesOf(frames[index]));
    EXPECT_EQ(line.delivered, expected) << what;
    EXPECT_EQ(line.guard.counters().*counter, count) << what;
  }
}

// Each cure by itself.
TEST(linkGuard, curesWhatItIsToldTo) {
  auto const none = with([](auto&) {});
  auto const address = with([](auto& o) { o.address = me; });
  auto const assemble = with([](auto& o) { o.assemble = true; });
  auto const brief = with([](auto& o) {
    o.assemble = true;
    o.expiry = milliseconds(100);
  });
  auto const small = with([](auto& o) {
    o.assemble = true;
    o.maxHeld = 1300;
  });
  auto const once = with([](auto& o) { o.duplicateWindow = milliseconds(100); });
  auto const two = with([](auto& o) {
    o.duplicateWindow = milliseconds(100);
    o.maxRecent = 2;
  });
  auto const check = with([](auto& o) { o.checkAnswers = true; });
  tFrame const single{5}, part1{6, 1, false}, part2{6, 2, false}, part3{6, 3, true};
  tFrame const later1{6, 1, false, panel, me, asking, 9}, later2{6, 2, true, panel, me, asking, 9};
  tFrame const big1{9, 1, false, panel, me, asking, 1, 400}, big2{9, 2, true, panel, me, asking, 1},
      huge1{9, 1, false, panel, me, asking, 1, 2000};
  auto const answer = [](unsigned int id, unsigned int from) {
    return tFrame{id, 1, true, from, me, answering};
  };
  cures("nothing: all pass", none,
        {single, single, part2, part3, {4, 1, true, other, other}, answer(1, panel)},
        {0, 1, 2, 3, 4, 5}, &tCounters::delivered, 6);
  cures("address: others'", address, {{4, 1, true, other, other}, single}, {1}, &tCounters::foreign,
        1);
  cures("address: for all", address, {{4, 1, true, other, all}}, {0}, &tCounters::foreign, 0);
  cures("in order", assemble, {part1, single, part2, part3}, {1, 0, 2, 3}, &tCounters::refused, 0);
  cures("disorder", assemble, {part3, part1, part2}, {1, 2, 0}, &tCounters::refused, 0);
  cures("gap", assemble, {part1, part3, single}, {2}, &tCounters::delivered, 1);
  cures("twice", assemble, {part1, part1, part2, part3}, {0, 2, 3}, &tCounters::duplicates, 1);
  cures("number 0", assemble, {{6, 0, true}, {6, 0, false}}, {}, &tCounters::refused, 2);
  cures("behind the last", assemble, {part3, {6, 4, false}, part1, part2}, {2, 3, 0},
        &tCounters::refused, 1);
  cures("two last parts", assemble, {part3, {6, 2, true}, part1, part2}, {2, 3, 0},
        &tCounters::refused, 1);
  cures("last before others", assemble, {part3, part1, {6, 2, true}, {6, 5, true}, part2},
        {1, 4, 0}, &tCounters::refused, 2);
  cures("started over", assemble, {part1, part2, later1, later2}, {2, 3}, &tCounters::delivered, 2);
  cures("in time", brief, {part1, part2, part3}, {0, 1, 2}, &tCounters::expired, 0, 99);
  cures("late", brief, {part1, part2, part3}, {}, &tCounters::expired, 3, 100);
  cures("room is made", small, {part1, part2, big1, {7, 1, false}, big2}, {2, 4},
        &tCounters::refused, 2);
  cures("too large", small, {huge1, big2, part1, part2, part3}, {2, 3, 4}, &tCounters::refused, 1);
  cures("came twice", once, {single, part1, single, part1, part2}, {0, 1, 4},
        &tCounters::duplicates, 2);
  cures("came again later", once, {single, part1, single}, {0, 1, 2}, &tCounters::duplicates, 0,
        51);
  cures("two remembered", two, {single, part1, single, part2, single}, {0, 1, 3, 4},
        &tCounters::duplicates, 1);
  cures("answers", check, {answer(1, panel), answer(1, other), answer(2, panel), answer(3, other)},
        {0, 3}, &tCounters::strangers, 2);
  cures("requests", check, {{2}, {9, 1, true, other}}, {0, 1}, &tCounters::strangers, 0);
}

TEST(linkGuard, remembersRequestsUntilTheyAreForgotten) {
  tGuarded line(with([](auto& o) {
    o.checkAnswers = true;
    o.maxAsked = 2;
  }));
  for (unsigned int id = 1; id <= 3; ++id) {  // the first makes room for the third
    for (bool const last : {false, true}) line.sent(bytesOf({id, last ? 2u : 1u, last, me, panel}));
    EXPECT_EQ(line.guard.lastAsked(), id);
  }
  line.guard.forget(2);
  line.guard.forget(77);
  tStrings expected{bytesOf({3, 1, true, panel, me, answering})};
  for (unsigned int id = 1; id <= 3; ++id)
    line.receive(bytesOf({id, 1, true, panel, me, answering}));
  EXPECT_EQ(line.delivered, expected);
}

// Streams that make a careless reader slow or large: cost and memory are bounded all the same.
TEST(linkGuard, holdsLittleWhateverComes) {
  auto options = nk_linkGuard::tOptions::all(me);
  options.maxPayload = 1000;
  options.maxHeld = 20000;
  std::string const next = bytesOf({8});
  std::string parts, starts, empty;
  for (unsigned int id = 0; id < 5000; ++id)
    parts += bytesOf({id % 50, id + 2, id % 7 == 0, panel, me, asking, id % 3, 0});
  for (unsigned int i = 0; i < 30000; ++i) starts += "\x01\x80\x80\x80";
  for (unsigned int i = 0; i < 500000; ++i) empty += "\x01\x02";
  struct {
    char const* what;
    std::string stream;
  } const rows[] = {
      {"frame without end", "\x01" + std::string(4000000, '\x80')},
      {"starts only", std::string(4000000, '\x01')},
      {"starts and bodies", starts},
      {"empty frames", empty},
      {"ends only", std::string(4000000, '\x02')},
      {"parts that fit nothing", parts},
      {"noise", harness::randomBytes(2000000, 1)},
      {"a large frame", bytesOf({1, 1, true, panel, me, asking, 1, 1001})},
  };
  for (auto const& row : rows) {
    tGuarded line(options);
    unsigned int most = 0;
    for (std::size_t done = 0; done < row.stream.size(); done += 1448) {
      line.receive(row.stream.substr(done, 1448));
      most = std::max(most, line.guard.heldBytes());
    }
    EXPECT_LE(most, options.maxHeld + 1200) << row.what;
    auto const before = line.delivered.size();
    line.receive(next);
    ASSERT_EQ(line.delivered.size(), before + 1) << row.what;
    EXPECT_EQ(line.delivered.back(), next) << row.what;
  }
  tGuarded line(options);
  line.receive(bytesOf({1, 1, true, panel, me, asking, 1, 1000}) + rows[7].stream);
  EXPECT_EQ(line.delivered.size(), 1u);
  EXPECT_EQ(line.guard.counters().largeFrames, 1u);
  EXPECT_EQ(line.guard.counters().skippedBytes, rows[7].stream.size());
}

}  // namespace
