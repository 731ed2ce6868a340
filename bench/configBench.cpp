// What a panel does with a configuration and with a set of schedules, against its own cost for
// smaller ones: the time per schedule must not grow with their number. Both sides go through the
// same number of schedules, in one set or in ten, so that it is the same memory that they walk.

#include <map>
#include <memory>
#include <string>
#include <vector>

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

using tSets = std::vector<std::unique_ptr<tSet>>;

// Schedules to the number of `many` in sets of `count`.
tSets makeSets(unsigned int count, bool changed = false, bool reversed = false) {
  tSets sets;
  for (unsigned int i = 0; i < many; i += count) sets.push_back(makeSet(count, changed, reversed));
  return sets;
}

// The same, made once.
tSets& setsOf(unsigned int count, bool changed = false, bool reversed = false) {
  static std::map<unsigned int, tSets> made;
  auto& sets = made[count * 4 + (changed ? 2 : 0) + (reversed ? 1 : 0)];
  if (sets.empty()) sets = makeSets(count, changed, reversed);
  return sets;
}

nk_serializer bodyOf(nk_message& message) {
  nk_serializer body;
  message.serialize(&body, nk_serializer::SER_WRITE);
  return body;
}

std::unique_ptr<nk_messageSetConfigReq> makeConfig(unsigned int each) {
  auto config = std::make_unique<nk_messageSetConfigReq>(version);
  for (unsigned int i = 0; i < each; ++i) {
    auto const number = tString::fromUInt64(i);
    config->timeSlot_add_ts("slot " + number, i * 1000u, i * 1000u + 500, 1);
    auto const place = static_cast<unsigned short>(i), id = static_cast<unsigned short>(10 + i);
    config->frm_change_ts("frame " + number, place, place, 64, 32, id, 0, 120);
  }
  return config;
}

// Repeats `step`, which handles `items` things.
template <class Step>
bench::tWork repeat(unsigned int items, Step step) {
  return [=](benchmark::State& state) mutable {
    for (auto const turn : state) {
      (void)turn;
      step(state);
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * items);
  };
}

bench::tWork encode(unsigned int count) {
  return repeat(many, [count](auto&) {
    for (auto const& set : setsOf(count)) benchmark::DoNotOptimize(bodyOf(*set).size());
  });
}

bench::tWork decode(unsigned int count) {
  std::vector<nk_serializer> bodies;
  for (auto const& set : setsOf(count)) bodies.push_back(bodyOf(*set));
  return repeat(many, [bodies](auto&) mutable {
    tSets read;
    for (auto& body : bodies) {
      nk_serializer copy(&body);
      read.push_back(std::make_unique<tSet>(&copy, version));
    }
    benchmark::DoNotOptimize(read.data());
  });
}

bench::tWork checksum(unsigned int count, bool reversed = false) {
  return repeat(many, [count, reversed](auto&) {
    for (auto const& set : setsOf(count, false, reversed))
      benchmark::DoNotOptimize(set->checksum(version).length());
  });
}

bench::tWork merge(unsigned int count, bool changed) {
  return repeat(many, [count, changed](benchmark::State& state) {
    state.PauseTiming();
    auto own = makeSets(count);
    auto const& other = setsOf(count, changed);
    state.ResumeTiming();
    for (unsigned int i = 0; i < own.size(); ++i)
      benchmark::DoNotOptimize(own[i]->setSchedulesFromWithoutClear(other[i].get()));
    state.PauseTiming();
    own.clear();
    state.ResumeTiming();
  });
}

constexpr double linear = 1.5;

void scheduleRows() {
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
}

void configurationRows() {
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
      return repeat(each, [&row, config, body = bodyOf(*config)](auto&) mutable {
        benchmark::DoNotOptimize(row.step(*config, body));
      });
    };
    bench::atMost(std::string(row.work) + " a configuration of 50 slots and frames, each to 5",
                  linear, work(large), work(small));
  }
}

bench::tRegister const regSchedules(scheduleRows), regConfiguration(configurationRows);

}  // namespace
