// Building and printing JSON, against another library that keeps the order of members.

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "bench/compare.h"
#include "nkSupport/tJson.h"

namespace {

constexpr unsigned int eventCount = 2000;

struct tEvent {
  unsigned int timeFirst, timeLast, id, type, category, occurrence;
  std::string message, image;
  std::vector<std::string> subEvents;
};

std::vector<tEvent> makeEvents() {
  std::vector<tEvent> events;
  for (unsigned int i = 0; i < eventCount; ++i) {
    std::string const letters(10 + i * 7 % 31, static_cast<char>('a' + i % 26));
    events.push_back({1700000000 + i,
                      1700000100 + i,
                      i,
                      i % 9,
                      i % 4,
                      i % 50,
                      letters,
                      "image_id" + std::to_string(1000000 + i),
                      {letters + "1", letters + "2"}});
  }
  return events;
}
std::vector<tEvent> const events = makeEvents();

struct tOwnEvent {
  tString message, image;
  tStringList subEvents;
};

// The same texts as tString, which is what a program has at hand.
std::vector<tOwnEvent> makeOwnEvents() {
  std::vector<tOwnEvent> own;
  for (auto const& event : events) {
    tStringList list;
    for (auto const& text : event.subEvents) list.add(tString(text));
    own.push_back({tString(event.message), tString(event.image), list});
  }
  return own;
}
std::vector<tOwnEvent> const ownEvents = makeOwnEvents();

tJson buildOurs() {
  tJson root;
  for (unsigned int i = 0; i < eventCount; ++i) {
    tJson json;
    json.addStringArray("subEvents", ownEvents[i].subEvents);
    json.addInt("timeFirst", events[i].timeFirst);
    json.addInt("timeLast", events[i].timeLast);
    json.addInt("id", events[i].id);
    json.addInt("type", events[i].type);
    json.addString("event", ownEvents[i].message);
    json.addInt("cat", events[i].category);
    json.addInt("occ", events[i].occurrence);
    json.addString("refImage", ownEvents[i].image);
    root.addToArray("events", std::move(json));
  }
  return root;
}

nlohmann::ordered_json buildTheirs() {
  nlohmann::ordered_json root;
  auto& list = root["events"] = nlohmann::ordered_json::array();
  for (auto const& event : events) {
    nlohmann::ordered_json json;
    json["subEvents"] = event.subEvents;
    json["timeFirst"] = event.timeFirst;
    json["timeLast"] = event.timeLast;
    json["id"] = event.id;
    json["type"] = event.type;
    json["event"] = event.message;
    json["cat"] = event.category;
    json["occ"] = event.occurrence;
    json["refImage"] = event.image;
    list.push_back(std::move(json));
  }
  return root;
}

template <class tStep>
bench::tWork repeat(tStep step) {
  return [step](benchmark::State& state) {
    for (auto const turn : state) {
      (void)turn;
      benchmark::DoNotOptimize(step());
    }
  };
}

void rows() {
  static tString const text = buildOurs().getJson(false);
  static tJson const ours = buildOurs();
  static auto const theirs = buildTheirs();
  auto const fail = [](benchmark::State& state) { state.SkipWithError("the texts differ"); };
  if (theirs.dump() != text.view()) {
    bench::tell("build + print 2000 event objects", fail, fail);
    return;
  }
  bench::atLeast("build + print 2000 event objects", 4.0,
                 repeat([] { return buildOurs().getJson(false); }),
                 repeat([] { return buildTheirs().dump(); }));
  bench::tell("print 2000 event objects", repeat([] { return ours.getJson(false); }),
              repeat([] { return theirs.dump(); }));
  bench::tell("parse 2000 event objects", repeat([] {
                tJson json;
                return json.parse(text.view());
              }),
              repeat([] { return nlohmann::ordered_json::parse(text.view()); }));
}

bench::tRegister const reg(rows);

}  // namespace
