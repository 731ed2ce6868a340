#include "link/linkGuard.h"

#include <gtest/gtest.h>

#include <tuple>

#include "harness/link.h"
#include "harness/system.h"

namespace {

using std::chrono::milliseconds;
using tStrings = std::vector<std::string>;

using harness::bytesOf;
using harness::tFrame;

constexpr unsigned int me = 1, panel = 2, other = 3, all = nk_basicTelegram::addressBroadcast;
constexpr auto asking = nk_basicTelegram::TYPE_REQUEST_FORCE_RESPONSE;
constexpr auto telling = nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE;
constexpr auto answering = nk_basicTelegram::TYPE_RESPONSE;

// A guard, the frames that it delivered, and its clock.
class tGuarded {
 public:
  explicit tGuarded(nk_linkGuard::tOptions options = {})
      : guard(timed(std::move(options)), [this](unsigned char* frame, unsigned int length) {
          delivered.emplace_back(reinterpret_cast<char*>(frame), length);
        }) {}
  nk_linkGuard::tOptions timed(nk_linkGuard::tOptions options) {
    options.now = [this] { return now; };
    return options;
  }
  // Receives `stream` in pieces of `size` bytes, and in one piece for 0.
  void receive(std::string const& stream, unsigned int size = 0) {
    for (std::size_t done = 0; done < stream.size();) {
      auto const piece = stream.substr(done, size == 0 ? stream.npos : size);
      guard.receive(reinterpret_cast<unsigned char const*>(piece.data()),
                    static_cast<unsigned int>(piece.size()));
      done += piece.size();
    }
  }
  void sent(std::string const& bytes) {
    guard.sent(reinterpret_cast<unsigned char const*>(bytes.data()),
               static_cast<unsigned int>(bytes.size()));
  }

  nk_linkGuard::tMoment now{};
  tStrings delivered;
  nk_linkGuard guard;
};

using tOptions = nk_linkGuard::tOptions;
using tCounters = nk_linkGuard::tCounters;

// Receives `frames`, with a pause after each, when requests 1 (to the panel) and 3 (to all) wait
// for answers; `delivered` come out.
void cures(char const* what, tOptions const& options, std::vector<tFrame> const& frames,
           std::vector<tFrame> const& delivered, unsigned long long tCounters::*counter,
           unsigned long long count, unsigned int pause_ms = 0) {
  for (unsigned int const size : {0u, 1u}) {
    tGuarded line(options);
    for (auto const& [id, to, type] :
         {std::tuple(1u, panel, asking), {3u, all, asking}, {2u, panel, telling}})
      line.sent(bytesOf({.id = id, .from = me, .to = to, .type = type}));
    tStrings expected;
    for (auto const& frame : frames) {
      line.receive(bytesOf(frame), size);
      line.now += milliseconds(pause_ms);
    }
    line.guard.expire();
    for (auto const& frame : delivered) expected.push_back(bytesOf(frame));
    EXPECT_EQ(line.delivered, expected) << what;
    EXPECT_EQ(line.guard.counters().*counter, count) << what;
  }
}

constexpr tFrame single{.id = 5};
constexpr tFrame part(unsigned int number) { return {.id = 6, .number = number, .last = false}; }
constexpr tFrame last(unsigned int number) { return {.id = 6, .number = number}; }

// How telegrams of several parts are put together.
TEST(linkGuard, assemblesByOneRule) {
  tOptions const assemble{.address = {}, .assemble = true};
  tOptions const brief{.address = {}, .assemble = true, .expiry = milliseconds(100)};
  tOptions const small{.address = {}, .assemble = true, .maxHeld = 1300};
  tFrame const later1{.id = 6, .last = false, .timestamp = 9};
  tFrame const later2{.id = 6, .number = 2, .timestamp = 9};
  tFrame const answer2{.id = 6, .number = 2, .type = answering};
  tFrame const packed2{.id = 6, .number = 2, .compression = nk_basicTelegram::COMPRESSION_RLE};
  tFrame const big1{.id = 9, .last = false, .size = 400}, big2{.id = 9, .number = 2},
      huge1{.id = 9, .last = false, .size = 2000}, other1{.id = 7, .last = false};
  using t = tCounters;
  std::vector<tFrame> const whole{part(1), part(2), last(3)};
  cures("in order", assemble, {part(1), single, part(2), last(3)},
        {single, part(1), part(2), last(3)}, &t::misfits, 0);
  cures("disorder", assemble, {last(3), part(1), part(2)}, whole, &t::misfits, 0);
  cures("gap", assemble, {part(1), last(3), single}, {single}, &t::incomplete, 1);
  cures("twice", assemble, {part(1), part(1), part(2), last(3)}, whole, &t::duplicates, 1);
  cures("number 0", assemble, {last(0), part(0)}, {}, &t::misfits, 2);
  cures("behind the last", assemble, {last(3), part(4), part(1), part(2)}, whole, &t::misfits, 1);
  cures("two last parts", assemble, {last(3), last(2), part(1), part(2)}, whole, &t::misfits, 1);
  cures("last before others", assemble, {last(3), part(1), last(2), last(5), part(2)}, whole,
        &t::misfits, 2);
  cures("started over", assemble, {part(1), part(2), later1, later2}, {later1, later2},
        &t::incomplete, 1);
  cures("other stamp", assemble, {part(1), later2}, {}, &t::incomplete, 2);
  cures("other kind", assemble, {part(1), answer2}, {}, &t::incomplete, 2);
  cures("other compression", assemble, {part(1), packed2}, {}, &t::incomplete, 2);
  cures("in time", brief, whole, whole, &t::expired, 0, 99);
  cures("late", brief, whole, {}, &t::expired, 3, 100);
  cures("room is made", small, {part(1), part(2), big1, other1, big2}, {big1, big2}, &t::refused,
        2);
  cures("too large", small, {huge1, big2, part(1), part(2), last(3)}, whole, &t::refused, 1);
}

// Each cure by itself.
TEST(linkGuard, curesWhatItIsToldTo) {
  tOptions const none, address{.address = me}, check{.address = {}, .checkAnswers = true};
  tOptions const once{.address = {}, .duplicateWindow = milliseconds(100)};
  tOptions const two{.address = {}, .duplicateWindow = milliseconds(100), .maxRecent = 2};
  auto const answer = [](unsigned int id, unsigned int from) {
    return tFrame{.id = id, .from = from, .type = answering};
  };
  tFrame const foreign{.id = 4, .from = other, .to = other};
  using t = tCounters;
  std::vector<tFrame> const anything{single, single, part(2), last(3), foreign, answer(1, panel)};
  cures("nothing: all pass", none, anything, anything, &t::delivered, 6);
  cures("address: others'", address, {foreign, single}, {single}, &t::foreign, 1);
  cures("came twice", once, {single, part(1), single, part(1), part(2)}, {single, part(1), part(2)},
        &t::duplicates, 2);
  cures("came again later", once, {single, part(1), single}, {single, part(1), single},
        &t::duplicates, 0, 51);
  cures("two remembered", two, {single, part(1), single, part(2), single},
        {single, part(1), part(2), single}, &t::duplicates, 1);
  cures("answers", check, {answer(1, panel), answer(1, other), answer(2, panel), answer(3, other)},
        {answer(1, panel), answer(3, other)}, &t::strangers, 2);
}

TEST(linkGuard, remembersRequestsUntilTheyAreForgotten) {
  tGuarded line(tOptions{.address = {}, .checkAnswers = true, .maxAsked = 2});
  for (unsigned int id = 1; id <= 3; ++id) {  // the first makes room for the third
    for (bool const last : {false, true})
      line.sent(
          bytesOf({.id = id, .number = last ? 2u : 1u, .last = last, .from = me, .to = panel}));
    EXPECT_EQ(line.guard.lastAsked(), id);
  }
  line.guard.forget(2);
  line.guard.forget(77);
  tStrings expected{bytesOf({.id = 3, .type = answering})};
  for (unsigned int id = 1; id <= 3; ++id) line.receive(bytesOf({.id = id, .type = answering}));
  EXPECT_EQ(line.delivered, expected);
}

// Streams that make a careless reader slow or large: cost and memory are bounded all the same.
TEST(linkGuard, holdsLittleWhateverComes) {
  auto options = nk_linkGuard::tOptions::all(me);
  options.maxPayload = 1000;
  options.maxHeld = 20000;
  std::string const next = bytesOf({.id = 8});
  std::string parts, starts, empty;
  for (unsigned int id = 0; id < 5000; ++id)
    parts += bytesOf(
        {.id = id % 50, .number = id + 2, .last = id % 7 == 0, .timestamp = id % 3, .size = 0});
  for (unsigned int i = 0; i < 30000; ++i) starts += "\x01\x80\x80\x80";
  for (unsigned int i = 0; i < 500000; ++i) empty += "\x01\x02";
  std::pair<char const*, std::string> const rows[] = {
      {"frame without end", "\x01" + std::string(4000000, '\x80')},
      {"starts only", std::string(4000000, '\x01')},
      {"starts and bodies", starts},
      {"empty frames", empty},
      {"ends only", std::string(4000000, '\x02')},
      {"parts that fit nothing", parts},
      {"noise", harness::randomBytes(2000000, 1)},
      {"a large frame", bytesOf({.id = 1, .size = 1001})},
      {"a frame cut off", bytesOf({.id = 1}).substr(0, 20)},
  };
  for (auto const& [what, stream] : rows) {
    tGuarded line(options);
    unsigned int most = 0;
    for (std::size_t done = 0; done < stream.size(); done += 1448) {
      line.receive(stream.substr(done, 1448));
      most = std::max(most, line.guard.heldBytes());
    }
    EXPECT_LE(most, options.maxHeld + 1200) << what;
    auto const before = line.delivered.size();
    line.receive(next);
    ASSERT_EQ(line.delivered.size(), before + 1) << what;
    EXPECT_EQ(line.delivered.back(), next) << what;
  }
  tGuarded line(options);
  line.receive(bytesOf({.id = 1, .size = 1000}) + rows[7].second);
  EXPECT_EQ(line.delivered.size(), 1u);
  EXPECT_EQ(line.guard.counters().largeFrames, 1u);
  EXPECT_EQ(line.guard.counters().skippedBytes, rows[7].second.size());
}

}  // namespace
