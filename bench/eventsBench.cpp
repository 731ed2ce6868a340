// The message with the most records, against protobuf in binary and another library in JSON.

#include <events.pb.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "nkProtocol/eventMessages.h"
#include "nkSupport/tJson.h"

namespace {

using benchmark::State;

constexpr unsigned int eventCount = nk_messageEventsRsp::maxEvents;

struct tEvent {
  unsigned int timeFirst, timeLast, id;
  unsigned short type;
  std::string message;
  unsigned char category;
  std::vector<std::string> subEvents;
  unsigned int occurrence;
  std::string refImage;
};

std::string letters(unsigned int length, unsigned int i) {
  return std::string(length, static_cast<char>('a' + i % 26));
}

std::vector<tEvent> makeEvents() {
  std::vector<tEvent> events;
  for (unsigned int i = 0; i < eventCount; ++i) {
    std::vector<std::string> subEvents;
    for (unsigned int k = 0; k < i % 3; ++k) subEvents.push_back(letters(10 + i % 21, i + k));
    events.push_back({1700000000 + i, 1700000100 + 7 * i, i, static_cast<unsigned short>(i % 300),
                      letters(20 + i * 7 % 41, i), static_cast<unsigned char>(i % 4), subEvents,
                      i % 50, i % 3 == 0 ? "image_id" + std::to_string(1000000 + i) + ".png" : ""});
  }
  return events;
}
std::vector<tEvent> const events = makeEvents();

std::unique_ptr<nk_messageEventsRsp> makeOurs() {
  auto message = std::make_unique<nk_messageEventsRsp>(nk_message::VERSION_0, nullptr, nullptr);
  for (auto const& event : events) {
    tStringList subEvents;
    for (auto const& text : event.subEvents) subEvents.add(tString(text));
    message->addEvent(event.timeFirst, event.timeLast, event.id, event.type, tString(event.message),
                      event.category, &subEvents, event.occurrence, tString(event.refImage));
  }
  return message;
}

bench::proto::Events makeTheirs(bool withSubEventTexts) {
  bench::proto::Events message;
  for (auto const& event : events) {
    auto& added = *message.add_events();
    added.set_time_first(event.timeFirst);
    added.set_time_last(event.timeLast);
    added.set_id(event.id);
    added.set_type(event.type);
    added.set_message(event.message);
    added.set_category(event.category);
    added.set_occurrence(event.occurrence);
    added.set_ref_image(event.refImage);
    for (auto const& text : event.subEvents) added.add_sub_events(withSubEventTexts ? text : "");
  }
  return message;
}

nlohmann::ordered_json makeTheirJson() {
  nlohmann::ordered_json root;
  root["action"] = "events";
  root["type"] = "response";
  root["tv"] = 1;
  root["task"] = 0;
  auto& list = root["events"] = nlohmann::ordered_json::array();
  for (auto const& event : events) {
    nlohmann::ordered_json json;
    json["timeFirst"] = event.timeFirst;
    json["timeLast"] = event.timeLast;
    json["id"] = event.id;
    json["type"] = event.type;
    json["event"] = event.message;
    json["cat"] = event.category;
    json["occ"] = event.occurrence;
    json["refImage"] = event.refImage;
    json["subEvents"] = event.subEvents;
    list.push_back(std::move(json));
  }
  return root;
}

/// The whole message with the texts of the sub-events, as a writer may send it that is not ours.
nk_serializer makeBytes() {
  nk_serializer ser;
  constexpr auto WRITE = nk_serializer::SER_WRITE;
  auto const number = [&](auto pass, auto value) { (ser.*pass)(value, WRITE); };
  auto const text = [&](std::string const& value) {
    tString copy(value);
    ser.string(copy, WRITE);
  };
  number(&nk_serializer::u16, static_cast<unsigned short>(nk_message::EVENTS_RSP));
  number(&nk_serializer::u16, static_cast<unsigned short>(nk_message::VERSION_0));
  number(&nk_serializer::u8, static_cast<unsigned char>(0));
  number(&nk_serializer::u32, eventCount);
  for (auto const& event : events) {
    number(&nk_serializer::u32, event.timeFirst);
    number(&nk_serializer::u32, event.timeLast);
    number(&nk_serializer::u32, event.id);
    number(&nk_serializer::u16, event.type);
    text(event.message);
    number(&nk_serializer::u8, event.category);
    number(&nk_serializer::u32, static_cast<unsigned int>(event.subEvents.size()));
    number(&nk_serializer::u32, event.occurrence);
    text(event.refImage);
    for (auto const& subEvent : event.subEvents) text(subEvent);
  }
  return ser;
}

// What both sides must find in the records.
unsigned long long sumOfEvents() {
  unsigned long long sum = 0;
  for (auto const& event : events) {
    sum += event.timeFirst + event.id + event.message.size() + event.subEvents.size();
  }
  return sum;
}

void readOurs(State& state) {
  nk_serializer bytes = makeBytes();
  unsigned long long const expected = sumOfEvents();
  for (auto _ : state) {
    std::unique_ptr<nk_message> const message(nk_message::getMessage(&bytes));
    auto const& read = static_cast<nk_messageEventsRsp const&>(*message);
    unsigned long long sum = 0;
    for (unsigned int i = 0; nk_messageEvent* const event = read.getEvent(i); ++i) {
      sum += event->timeFirst() + event->id() + event->eventMessage().length() +
             event->subEventCount();
    }
    if (sum != expected) return state.SkipWithError("events differ");
  }
}

void readTheirs(State& state) {
  std::string const bytes = makeTheirs(true).SerializeAsString();
  unsigned long long const expected = sumOfEvents();
  for (auto _ : state) {
    bench::proto::Events read;
    unsigned long long sum = 0;
    if (!read.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
      return state.SkipWithError("not parsed");
    }
    for (auto const& event : read.events()) {
      sum += event.time_first() + event.id() + event.message().size() +
             static_cast<unsigned int>(event.sub_events_size());
    }
    if (sum != expected) return state.SkipWithError("events differ");
  }
}

void writeOurs(State& state) {
  auto const message = makeOurs();
  for (auto _ : state) {
    nk_serializer ser;
    if (!message->serializeMsg(&ser)) return state.SkipWithError("not written");
    benchmark::DoNotOptimize(ser.data());
  }
}

// Our wire carries empty texts for the sub-events, and so does theirs here.
void writeTheirs(State& state) {
  auto const message = makeTheirs(false);
  for (auto _ : state) {
    std::string bytes;
    if (!message.SerializeToString(&bytes)) return state.SkipWithError("not written");
    benchmark::DoNotOptimize(bytes.data());
  }
}

/// Events of no content, far more than are kept: what a hostile peer can send most of.
void readMany(State& state, unsigned int count) {
  nk_serializer ser;
  unsigned char task = 0;
  ser.u8(task, nk_serializer::SER_WRITE);
  ser.u32(count, nk_serializer::SER_WRITE);
  tBlob const empty = tBlob(std::string(31, '\0').data(), 31);
  for (unsigned int i = 0; i < count; ++i) ser.append(empty);
  for (auto _ : state) {
    nk_serializer body(&ser);
    nk_messageEventsRsp const read(&body, nk_message::VERSION_0);
    if (read.count() != eventCount) return state.SkipWithError("events lost");
  }
  state.SetItemsProcessed(state.iterations() * count);
}

/// The parts of which the rate of the JSON text is made.
void jsonRows(tString const& text) {
  static tJson ours;
  ours.parse(text.view());
  static auto const theirs = makeTheirJson();
  bench::tell(
      "print the JSON of 2000 events",
      [](State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(ours.getJson(false));
      },
      [](State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(theirs.dump());
      });
  bench::tell(
      "parse the JSON of 2000 events",
      [text](State& state) {
        tJson json;
        for (auto _ : state) benchmark::DoNotOptimize(json.parse(text.view()));
      },
      [text](State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(nlohmann::ordered_json::parse(text.view()));
      });
}

void rows() {
  static auto const ours = makeOurs();
  bench::atMost("read 2000 events, against protobuf", 0.7, readOurs, readTheirs);
  bench::atMost("write 2000 events, against protobuf", 0.6, writeOurs, writeTheirs);
  bench::atLeast(
      "2000 events to JSON text, against nlohmann::ordered_json", 4,
      [](State& state) {
        if (makeTheirJson().dump() != ours->getJson().view()) {
          return state.SkipWithError("the texts differ");
        }
        for (auto _ : state) benchmark::DoNotOptimize(ours->getJson());
      },
      [](State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(makeTheirJson().dump());
      });
  jsonRows(ours->getJson());
  bench::atMost(
      "read 200,000 events, of which 2000 stay, per event, against 2000", 2,
      [](State& state) { readMany(state, 200000); },
      [](State& state) { readMany(state, eventCount); });
}
bench::tRegister const registered(rows);

}  // namespace
