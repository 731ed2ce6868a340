// What a panel does with a configuration and with a set of schedules, against its own cost for a
// smaller set: the time per schedule must not grow with their number.

#include <map>
#include <memory>
#include <string>

#include "bench/compare.h"
#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"

namespace {

constexpr auto version = nk_message::VERSION_3;
constexpr unsigned int many = 10000, few = 1000, entriesEach = 10;

using tSet = nk_messageSetSchedulesReq;

// `changed` gives each schedule another name, `reversed` the highest id first.
std::unique_ptr<tSet> makeSet(unsigned int count, bool changed = false, bool reversed = false) {
  auto set = std::make_unique<tSet>(version);
  for (unsigned int i = 0; i < count; ++i) {
    unsigned int const id = reversed ? count - i : i + 1;
    auto* const one = set->addSchedule_(id, changed ? "another one" : "schedule", 1700000000LL + id,
                                        1800000000LL, 6, static_cast<unsigned short>(id % 8));
    for (unsigned int k = 0; k < entriesEach; ++k)
      one->addScheduleEntry(k + 1, "entry", 10, id * 100ULL + k, false);
  }
  return set;
}

tSet& setOf(unsigned int count, bool changed = false, bool reversed = false) {
  static std::map<unsigned int, std::unique_ptr<tSet>> sets;
  auto& set = sets[count * 4 + (changed ? 2 : 0) + (reversed ? 1 : 0)];
  if (!set) set = makeSet(count, changed, reversed);
  return *set;
}

nk_serializer bodyOf(nk_message& message) {
  nk_serializer body;
  message.serialize(&body, nk_serializer::SER_WRITE);
  return body;
}

std::unique_ptr<nk_messageSetConfigReq> makeConfig(unsigned int each) {
  auto config = std::make_unique<nk_messageSetConfigReq>(version);
  for (unsigned short i = 0; i < each; ++i) {
    auto const number = tString::fromUInt64(i);
    config->timeSlot_add_ts("slot " + number, i * 1000u, i * 1000u + 500, 1);
    config->frm_change_ts("frame " + number, i, i, 64, 32, static_cast<unsigned short>(10 + i), 0,
                          120);
  }
  return config;
}

// Repeats `step`, which handles `items`; `prepare` before each is not timed.
template <class Step, class Prepare>
bench::tWork repeat(unsigned int items, Prepare prepare, Step step) {
  return [=](benchmark::State& state) {
    for (auto const turn : state) {
      (void)turn;
      state.PauseTiming();
      auto prepared = prepare();
      state.ResumeTiming();
      benchmark::DoNotOptimize(step(*prepared));
      state.PauseTiming();
      prepared.reset();
      state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * items);
  };
}

template <class Step>
bench::tWork repeat(unsigned int items, Step step) {
  return [=](benchmark::State& state) {
    for (auto const turn : state) {
      (void)turn;
      benchmark::DoNotOptimize(step());
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * items);
  };
}

bench::tWork encode(unsigned int count) {
  return repeat(count, [count] { return bodyOf(setOf(count)).size(); });
}

bench::tWork decode(unsigned int count) {
  return repeat(count, [body = bodyOf(setOf(count))]() mutable {
    nk_serializer copy(&body);
    return tSet(&copy, version).count();
  });
}

bench::tWork checksum(unsigned int count, bool reversed = false) {
  return repeat(count, [count, reversed] {
    return setOf(count, false, reversed).checksum(version).length();
  });
}

bench::tWork merge(unsigned int count, bool changed) {
  return repeat(
      count, [count] { return makeSet(count); },
      [count, changed](tSet& own) {
        return own.setSchedulesFromWithoutClear(&setOf(count, changed));
      });
}

void rows() {
  constexpr double linear = 1.5;
  struct {
    char const* work;
    bench::tWork (*make)(unsigned int count);
  } const perSchedule[] = {
      {"encode", encode},
      {"decode", decode},
      {"checksum of", [](unsigned int count) { return checksum(count); }},
      {"merge an equal set of", [](unsigned int count) { return merge(count, false); }},
      {"merge a changed set of", [](unsigned int count) { return merge(count, true); }},
  };
  for (auto const& row : perSchedule) {
    bench::atMost(std::string(row.work) + " 10000 schedules, per schedule to 1000", linear,
                  row.make(many), row.make(few));
  }
  bench::tell("checksum of 1000 schedules back to front, to in order", checksum(few, true),
              checksum(few));

  constexpr unsigned int large = 50, small = 5;
  struct {
    char const* work;
    unsigned int (*step)(nk_messageSetConfigReq& config, nk_serializer& body);
  } static const perSlot[] = {
      {"encode", [](auto& config, auto&) { return bodyOf(config).size(); }},
      {"decode",
       [](auto&, auto& body) {
         nk_serializer copy(&body);
         return static_cast<unsigned int>(nk_messageSetConfigReq(&copy, version).frm_count());
       }},
      {"checksum of", [](auto& config, auto&) { return config.checksum(version).length(); }},
  };
  for (auto const& row : perSlot) {
    auto const work = [&row](unsigned int each) {
      std::shared_ptr<nk_messageSetConfigReq> const config = makeConfig(each);
      return repeat(each, [&row, config, body = bodyOf(*config)]() mutable {
        return row.step(*config, body);
      });
    };
    bench::atMost(std::string(row.work) + " a configuration of 50 slots and frames, each to 5",
                  linear, work(large), work(small));
  }
}

bench::tRegister const reg(rows);

}  // namespace
