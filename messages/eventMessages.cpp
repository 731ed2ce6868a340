#include "nkProtocol/eventMessages.h"

#include <cstddef>
#include <utility>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/jsonFields.h"

nk_messageEventsReq::nk_messageEventsReq(teVersion version) : nk_message(EVENTS_REQ, version) {}

nk_messageEventsReq::nk_messageEventsReq(nk_serializer* ser, teVersion version)
    : nk_messageEventsReq(version) {
  nk_messageEventsReq::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageEventsReq::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->u8(m_task, d);
}

bool nk_messageEventsReq::jsonForm(nk_jsonFields fields) {
  return fields.number("task", m_task).done();
}

bool nk_messageEventsReq::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageEventsReq::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}

nk_messageEventsRsp::teSortCriteria nk_messageEventsRsp::l_eSortCriteria = SORT_TIME_FIRST_DESC;

nk_messageEventsRsp::nk_messageEventsRsp(teVersion version, void* context,
                                         void (*callback)(void*, nk_messageEvent*))
    : nk_message(EVENTS_RSP, version), m_context(context), m_callback(callback) {}

nk_messageEventsRsp::nk_messageEventsRsp(nk_serializer* ser, teVersion version)
    : nk_messageEventsRsp(version, nullptr, nullptr) {
  nk_messageEventsRsp::serialize(ser, nk_serializer::SER_READ);
}

nk_messageEventsRsp::~nk_messageEventsRsp() { clear(); }

bool nk_messageEventsRsp::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  if (ser == nullptr) return false;
  bool const reading = d == nk_serializer::SER_READ;
  if (reading) clear();
  auto const event = [&](unsigned int index) {
    if (!reading) return eventBody(*getEvent(index), *ser, d);
    std::unique_ptr<nk_messageEvent> read(new nk_messageEvent);
    if (!eventBody(*read, *ser, d)) return false;
    appendLimited(std::move(read));
    return true;
  };
  unsigned int size = count();
  return ser->u8(m_task, d) && ser->u32(size, d) && transferElements(*ser, size, event);
}

bool nk_messageEventsRsp::eventBody(nk_messageEvent& event, nk_serializer& ser,
                                    nk_serializer::teSerDirection d) {
  unsigned int subEvents = event.subEventCount();
  // PEER: what is written is each time the text one past the last, an empty one; receivers take the
  // number of sub-events from here and their texts from the JSON form.
  tString text = event.subEvent(subEvents);
  auto const subEvent = [&](unsigned int) {
    if (!ser.string(text, d)) return false;
    if (d == nk_serializer::SER_READ) event.m_subEvents.add(std::move(text));
    return true;
  };
  return ser.numbers(d, event.m_timeFirst, event.m_timeLast, event.m_id, event.m_type) &&
         ser.string(event.m_eventMessage, d) &&
         ser.numbers(d, event.m_category, subEvents, event.m_occurrence) &&
         ser.string(event.m_refImage, d) && transferElements(ser, subEvents, subEvent);
}

bool nk_messageEventsRsp::eventJson(nk_messageEvent& event, nk_jsonFields fields) {
  return fields.number("timeFirst", event.m_timeFirst)
      .number("timeLast", event.m_timeLast)
      .number("id", event.m_id)
      .number("type", event.m_type)
      .text("event", event.m_eventMessage)
      .number("cat", event.m_category)
      .number("occ", event.m_occurrence)
      .text("refImage", event.m_refImage)
      .texts("subEvents", event.m_subEvents)
      .done();
}

bool nk_messageEventsRsp::jsonForm(nk_jsonFields fields) {
  auto const event = [this](nk_jsonFields object, unsigned int index) {
    if (object.writing()) return eventJson(*getEvent(index), object);
    std::unique_ptr<nk_messageEvent> read(new nk_messageEvent);
    eventJson(*read, object);
    return appendLimited(std::move(read)) != nullptr;
  };
  return fields.number("task", m_task).list("events", count(), event).done();
}

bool nk_messageEventsRsp::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageEventsRsp::serializeFromJson(tJson* json) {
  if (!acceptsJsonKind(json)) return false;
  // PEER: cleared before the version is looked at; programs take an empty list for "no log".
  clear();
  return withinMemory([&] {
    return acceptsJsonVersion(*json) && jsonForm({*json, nk_jsonFields::READ});
  });
}

void nk_messageEventsRsp::clear() {
  for (unsigned int i = 0; i < count(); ++i) destroy(getEvent(i));
  m_events.clear();
  m_dropped = 0;
}

void nk_messageEventsRsp::destroy(nk_messageEvent* event) {
  if (m_callback != nullptr) m_callback(m_context, event);
  delete event;
}

nk_messageEvent* nk_messageEventsRsp::append(std::unique_ptr<nk_messageEvent> event) {
  m_events.push_back(event.get());
  return event.release();
}

nk_messageEvent* nk_messageEventsRsp::appendLimited(std::unique_ptr<nk_messageEvent> event) {
  nk_messageEvent* const added = append(std::move(event));
  for (; count() > maxEvents; ++m_dropped) destroy(m_events[m_dropped]);
  if (m_dropped >= maxEvents) removeDropped();
  return added;
}

void nk_messageEventsRsp::removeDropped() {
  m_events.erase(m_events.begin(), m_events.begin() + static_cast<std::ptrdiff_t>(m_dropped));
  m_dropped = 0;
}

nk_messageEvent* nk_messageEventsRsp::addEvent(unsigned int timeFirst, unsigned int timeLast,
                                               unsigned int id, unsigned short type,
                                               tString eventMessage, unsigned char category,
                                               tStringList* subEvents, unsigned int occurrence,
                                               tString refImage) {
  return appendLimited(
      std::make_unique<nk_messageEvent>(timeFirst, timeLast, id, type, std::move(eventMessage),
                                        category, subEvents, occurrence, std::move(refImage)));
}

nk_messageEvent* nk_messageEventsRsp::addEvent(nk_messageEvent* event) {
  // PEER: no limit here; stations gather the logs of several devices in one response this way.
  return event != nullptr ? append(std::make_unique<nk_messageEvent>(*event)) : nullptr;
}

nk_messageEvent* nk_messageEventsRsp::getEvent(unsigned int index) const {
  return index < count() ? m_events[m_dropped + index] : nullptr;
}

bool nk_messageEventsRsp::getEvent(nk_messageEvent& out, unsigned int index) {
  nk_messageEvent const* const event = getEvent(index);
  if (event == nullptr) return false;
  out.set(*event);
  return true;
}

void nk_messageEventsRsp::setFrom(nk_messageEventsRsp const& other) {
  if (this == &other) return;
  clear();
  for (unsigned int i = 0; nk_messageEvent* const event = other.getEvent(i); ++i) addEvent(event);
}

void nk_messageEventsRsp::sort(teSortCriteria criterion) {
  removeDropped();
  l_eSortCriteria = criterion;
  m_events.sort(sortCompare);
}

bool nk_messageEventsRsp::sortCompare(nk_messageEvent*& a, nk_messageEvent*& b) {
  if (a == nullptr || b == nullptr) return false;
  switch (l_eSortCriteria) {
    case SORT_TIME_FIRST_DESC:
      return a->timeFirst() < b->timeFirst();
    case SORT_TIME_FIRST_ASC:
      return a->timeFirst() > b->timeFirst();
    case SORT_TIME_LAST_DESC:
      return a->timeLast() < b->timeLast();
    case SORT_TIME_LAST_ASC:
      return a->timeLast() > b->timeLast();
    case SORT_ID_DESC:
      return a->id() < b->id();
    case SORT_ID_ASC:
      return a->id() > b->id();
  }
  return false;
}

tString nk_messageEventsRsp::categoryColor(unsigned char category) {
  switch (category) {
    case 0:
      return "#FF6600";
    case 1:
      return "#FFFF66";
    default:
      return "";
  }
}
