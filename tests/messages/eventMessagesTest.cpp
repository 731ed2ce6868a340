#include "nkProtocol/eventMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "harness/hex.h"
#include "nkSupport/tJson.h"
#include "reading.h"

namespace {

using tEvents = nk_messageEventsRsp;
constexpr auto V0 = nk_message::VERSION_0;

tStringList list(std::initializer_list<char const*> texts) {
  tStringList all;
  for (char const* text : texts) all.add(tString(text));
  return all;
}

std::unique_ptr<nk_message> twoEvents(nk_message::teVersion version) {
  auto message = std::make_unique<tEvents>(version, nullptr, nullptr);
  message->setTask(200);
  tStringList subEvents = list({"a", "b"});
  message->addEvent(1698894000, 1698894388, 3, 0x0504, "door open", 1, &subEvents, 8, "hall.png");
  message->addEvent(0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFF, "", 255, nullptr, 0xFFFFFFFD, "");
  return message;
}

#define EVENTS_JSON_START R"({"action":"events","type":"response","tv":1,"task":)"

}  // namespace

std::vector<tGoldenRow> eventMessageRows() {
  return {
      {"EVENTS_REQ",
       [](auto version) {
         auto message = std::make_unique<nk_messageEventsReq>(version);
         message->setTask(200);
         return message;
       },
       R"({"action":"events","type":"request","tv":1,"task":200})"},
      // The sub-events travel as two empty texts.
      {"EVENTS_RSP", twoEvents,
       EVENTS_JSON_START R"(200,"events":[{"timeFirst":1698894000,"timeLast":1698894388,"id":3,)"
                         R"("type":1284,"event":"door open","cat":1,"occ":8,)"
                         R"("refImage":"hall.png","subEvents":["a","b"]},)"
                         R"({"timeFirst":2147483648,"timeLast":4294967295,"id":4294967294,)"
                         R"("type":65535,"event":"","cat":255,"occ":4294967293,"refImage":"",)"
                         R"("subEvents":[]}]})",
       true, EVENTS_JSON_START "200}"},
  };
}

namespace {

// PEER: which accessors a const event has is part of the interface.
template <class Event>
concept tWhollyReadable = requires(Event& event) {
  event.category(), event.subEventCount(), event.subEventList(), event.occurence(),
      event.subEvent(0), event.refImage();
};
static_assert(tWhollyReadable<nk_messageEvent> && !tWhollyReadable<nk_messageEvent const>);

/// Sees the events that a response destroys, and notes their ids.
struct tObserver {
  std::string seen;
  static void notes(void* context, nk_messageEvent* event) {
    static_cast<tObserver*>(context)->seen += std::to_string(event->id()) + " ";
  }
};

nk_messageEvent* add(tEvents& events, unsigned int id) {
  return events.addEvent(0, 0, id, 0, "", 0, nullptr, 0, "");
}

std::string ids(tEvents const& events) {
  std::string text;
  for (unsigned int i = 0; i < events.count(); ++i) {
    text += std::to_string(events.getEvent(i)->id()) + " ";
  }
  return text;
}

TEST(Event, IsCopiedWhole) {
  auto const message = twoEvents(V0);
  nk_messageEvent copy(0, 0, 0, 0, "", 0, nullptr, 0, "");
  EXPECT_TRUE(dynamic_cast<tEvents&>(*message).getEvent(copy, 0));
  EXPECT_TRUE(copy.timeFirst() == 1698894000 && copy.timeLast() == 1698894388 && copy.id() == 3);
  EXPECT_TRUE(copy.type() == 0x0504 && copy.eventMessage() == "door open" && copy.category() == 1);
  EXPECT_TRUE(copy.occurence() == 8 && copy.refImage() == "hall.png");
  EXPECT_TRUE(copy.subEventList() == list({"a", "b"}) && copy.subEventCount() == 2);
  EXPECT_TRUE(copy.subEvent(1) == "b" && copy.subEvent(2).empty());
}

TEST(Events, TheLimitDropsFromTheFront) {
  constexpr unsigned int many = tEvents::maxEvents + 2;
  tEvents all(V0, nullptr, nullptr);
  for (unsigned int id = 0; id < many; ++id) {
    nk_messageEvent one(0, 0, id, 0, "", 0, nullptr, 0, "");
    all.addEvent(&one);
  }
  // The copying form knows no limit; stations rely on it to gather several logs.
  ASSERT_EQ(all.count(), many);
  nk_serializer body = bodyOf(all);
  tJson json;
  ASSERT_TRUE(all.serializeToJson(&json));
  char const* const dropped[] = {"0 1 ", "0 1 ", "0 1 2 "};
  for (int i = 0; i < 3; ++i) {
    tObserver observer;
    tEvents events(V0, &observer, tObserver::notes);
    if (i == 0) events.serialize(&body, nk_serializer::SER_READ);
    if (i == 1) events.serializeFromJson(&json);
    if (i == 2) events.setFrom(all);  // longer than the limit, until the next one is added
    if (i == 2) add(events, many);
    EXPECT_EQ(observer.seen, dropped[i]);
    EXPECT_EQ(events.count(), tEvents::maxEvents) << i;
    EXPECT_EQ(events.getEvent(0)->id(), i < 2 ? 2u : 3u);
  }
}

TEST(Events, AFullListGoesOnForLong) {
  constexpr unsigned int many = 3 * tEvents::maxEvents + 5;
  tObserver observer;
  std::string dropped;
  tEvents events(V0, &observer, tObserver::notes);
  for (unsigned int id = 0; id < many; ++id) {
    add(events, id);
    if (id + tEvents::maxEvents < many) dropped += std::to_string(id) + " ";
    ASSERT_EQ(events.getEvent(events.count() - 1)->id(), id);
  }
  EXPECT_EQ(observer.seen, dropped);
  events.sort(tEvents::SORT_ID_DESC);
  nk_messageEvent out(0, 0, 7, 0, "", 0, nullptr, 0, "");
  EXPECT_TRUE(events.getEvent(out, 0) && out.id() == many - 1);
  EXPECT_FALSE(events.getEvent(out, tEvents::maxEvents) || events.getEvent(tEvents::maxEvents));
}

TEST(Events, ShowsEveryEventThatItDestroys) {
  tEvents other(V0, nullptr, nullptr);
  add(other, 9);
  other.setTask(5);
  nk_serializer body = bodyOf(other);
  tObserver observer;
  {
    tEvents events(V0, &observer, tObserver::notes);
    for (unsigned int id : {3u, 1u, 2u}) add(events, id);
    EXPECT_EQ(events.addEvent(nullptr), nullptr);
    events.setFrom(events);
    EXPECT_EQ(observer.seen, "");
    events.setFrom(other);
    EXPECT_EQ(observer.seen, "3 1 2 ");
    EXPECT_EQ(events.task(), 0);
    add(events, 8);
    EXPECT_TRUE(events.serialize(&body, nk_serializer::SER_READ));
    EXPECT_EQ(observer.seen, "3 1 2 9 8 ");
    EXPECT_EQ(events.task(), 5);
  }
  EXPECT_EQ(observer.seen, "3 1 2 9 8 9 ");
}

TEST(Events, ReadsTheSubEventsOfWritersThatSendThem) {
  auto const message = readMessage<tEvents>(harness::hex(
      "04 00 00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 00 00 05 "
      "02 00 00 00 06 00 00 00 00 00 00 00 01 00 00 00 61 02 00 00 00 62 63"));
  EXPECT_EQ(message->getEvent(0)->subEventList(), list({"a", "bc"}));
}

TEST(Events, SortsByAnyCriterion) {
  // From the first criterion on; the last one is none.
  char const* const rows[] = {"3 1 4 2 ", "2 1 4 3 ", "2 1 3 4 ", "4 3 1 2 ",
                              "4 3 2 1 ", "1 2 3 4 ", "3 1 2 4 "};
  for (int criterion = 0; criterion < 7; ++criterion) {
    tEvents events(V0, nullptr, nullptr);
    // Differences of 2^31 and more: a subtraction would not tell the order.
    events.addEvent(0xFFFFFFFF, 5, 3, 0, "", 0, nullptr, 0, "");
    events.addEvent(5, 6, 1, 0, "", 0, nullptr, 0, "");
    events.addEvent(1, 0xFFFFFFFF, 2, 0, "", 0, nullptr, 0, "");
    events.addEvent(5, 1, 4, 0, "", 0, nullptr, 0, "");
    events.sort(tEvents::teSortCriteria(criterion));
    EXPECT_EQ(ids(events), rows[criterion]) << criterion;
    EXPECT_EQ(tEvents::l_eSortCriteria, tEvents::teSortCriteria(criterion));
  }
  nk_messageEvent event(1, 1, 1, 0, "", 0, nullptr, 0, "");
  nk_messageEvent *some = &event, *none = nullptr;
  EXPECT_FALSE(tEvents::sortCompare(some, none) || tEvents::sortCompare(none, some));
}

TEST(Events, TwoCategoriesHaveColours) {
  EXPECT_EQ(tEvents::categoryColor(0), "#FF6600");
  EXPECT_EQ(tEvents::categoryColor(1), "#FFFF66");
  EXPECT_EQ(tEvents::categoryColor(2), "");
}

}  // namespace
