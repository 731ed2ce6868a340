#pragma once

#include <memory>

#include "nkProtocol/event.h"
#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkProtocol/vector.h"
#include "nkSupport/tString.h"
#include "nkSupport/tStringList.h"

class nk_jsonFields;

/// EVENTS_REQ: asks a device for its event log. Body, every version: u8 task.
/// Not synchronised: the owner locks.
class NK_API nk_messageEventsReq : public nk_message {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageEventsReq(teVersion version);
  nk_messageEventsReq(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// A number of the requester's choice, which the response repeats.
  unsigned char task() const { return m_task; }
  void setTask(unsigned char task) { m_task = task; }

 private:
  bool jsonForm(nk_jsonFields fields);

  unsigned char m_task = 0;
};

/// EVENTS_RSP: a device's event log. It owns its events; pointers to them hold until the event is
/// removed by clear, a parse, setFrom, the limit of addEvent or the destructor. An observer may see
/// each event just before it is destroyed.
///
/// Body, every version: u8 task, u32 count and that many events: u32 timeFirst, u32 timeLast, u32
/// id, u16 type, string eventMessage, u8 category, u32 count of sub-events, u32 occurrence, string
/// refImage, and as many strings as there are sub-events. Written, these strings are empty, because
/// peers in the field expect it so; only the JSON form carries the sub-events' texts.
///
/// Not synchronised: the owner locks. Sorts must not run at the same time, not even those of
/// different objects: see l_eSortCriteria.
class NK_API nk_messageEventsRsp : public nk_message {
 public:
  /// The order of the events after sort.
  enum teSortCriteria : unsigned int {
    SORT_TIME_FIRST_DESC = 0,
    SORT_TIME_FIRST_ASC = 1,
    SORT_TIME_LAST_DESC = 2,
    SORT_TIME_LAST_ASC = 3,
    SORT_ID_DESC = 4,
    SORT_ID_ASC = 5
  };
  /// The most events that are left by the field-wise addEvent, and so by reading.
  static constexpr unsigned int maxEvents = 2000;

  /// `callback`, which may be null, is called with `context` and each event just before it is
  /// destroyed; it must not change this response.
  nk_messageEventsRsp(teVersion version, void* context,
                      void (*callback)(void* context, nk_messageEvent* event));
  /// From a body that was received, without an observer; see nk_message.
  nk_messageEventsRsp(nk_serializer* ser, teVersion version);
  ~nk_messageEventsRsp() override;
  nk_messageEventsRsp(nk_messageEventsRsp const&) = delete;
  nk_messageEventsRsp& operator=(nk_messageEventsRsp const&) = delete;
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  /// An object that only lacks the right "tv" is refused too, but empties the list.
  bool serializeFromJson(tJson* json) override;

  /// The number of the request that is answered.
  unsigned char task() const { return m_task; }
  void setTask(unsigned char task) { m_task = task; }

  /// Number of events; addEvent(nk_messageEvent*) and setFrom() may take it beyond maxEvents.
  unsigned int count() const { return static_cast<unsigned int>(m_events.size()) - m_dropped; }
  /// Destroys all events, in order.
  void clear();
  /// Appends an event made of these values (see nk_messageEvent) and returns it. If there are more
  /// than maxEvents then, those at the front of the list are destroyed.
  nk_messageEvent* addEvent(unsigned int timeFirst, unsigned int timeLast, unsigned int id,
                            unsigned short type, tString eventMessage, unsigned char category,
                            tStringList* subEvents, unsigned int occurrence, tString refImage);
  /// Appends a copy of `event` and returns it, whatever the number of events; null for null.
  nk_messageEvent* addEvent(nk_messageEvent* event);
  /// The event at `index`; null past the end.
  nk_messageEvent* getEvent(unsigned int index) const;
  /// Copies the event at `index` to `out`; false, with nothing changed, past the end.
  bool getEvent(nk_messageEvent& out, unsigned int index);
  /// Replaces the events by copies of `other`'s, however many. The task stays.
  void setFrom(nk_messageEventsRsp const& other);

  /// Stable sort; a criterion without a name changes nothing. See tVector for the cost.
  void sort(teSortCriteria criterion);
  /// True if `a` belongs behind `b` by l_eSortCriteria; false if one of them is null.
  static bool sortCompare(nk_messageEvent*& a, nk_messageEvent*& b);
  /// The criterion of the sort that runs; one for the whole process.
  static teSortCriteria l_eSortCriteria;

  /// The colour in which events of a category are shown, as "#RRGGBB"; empty for categories that
  /// have none of their own.
  static tString categoryColor(unsigned char category);

 private:
  static bool eventBody(nk_messageEvent& event, nk_serializer& ser,
                        nk_serializer::teSerDirection d);
  static bool eventJson(nk_messageEvent& event, nk_jsonFields fields);
  bool jsonForm(nk_jsonFields fields);
  nk_messageEvent* append(std::unique_ptr<nk_messageEvent> event);
  nk_messageEvent* appendLimited(std::unique_ptr<nk_messageEvent> event);
  void destroy(nk_messageEvent* event);
  void removeDropped();

  unsigned char m_task = 0;
  tVector<nk_messageEvent*> m_events;
  // Places at the front whose events are gone. They are removed many at a time, so that an event
  // that comes to a full list does not move all others.
  unsigned int m_dropped = 0;
  void* m_context = nullptr;
  void (*m_callback)(void* context, nk_messageEvent* event) = nullptr;
};
