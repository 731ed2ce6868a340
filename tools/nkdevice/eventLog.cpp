#include "tools/nkdevice/eventLog.h"

#include <algorithm>

#include "nkSupport/tTime.h"
#include "tools/common/messages.h"

namespace {

// As nk_messageEventsRsp::categoryColor has them; the last one has no colour.
enum teCategory : unsigned char { CATEGORY_FAULT = 0, CATEGORY_WARNING = 1, CATEGORY_NOTICE = 2 };

teCategory categoryOf(teEvent type) {
  if (type == EVENT_STATE_TROUBLE) return CATEGORY_FAULT;
  return type == EVENT_REQUEST_REFUSED || type == EVENT_IMAGE_REFUSED ? CATEGORY_WARNING
                                                                      : CATEGORY_NOTICE;
}

}  // namespace

// A record is an EVENTS_RSP with the events that were added or changed.
bool tEventLog::take(tBlob& record) {
  nk_messageEventsRsp stored(tStore::storedVersion, nullptr, nullptr);
  nk_tools::tContent content(std::move(record));
  if (content.type != stored.type() || !content.readInto(stored)) return false;
  for (unsigned int i = 0; i < stored.count(); ++i) put(*stored.getEvent(i));
  dropSurplus();
  return true;
}

void tEventLog::load() {
  m_file.load([this](tBlob& record) { return take(record); });
}

void tEventLog::record(teEvent type, std::string const& text, tString const& image) {
  auto const category = categoryOf(type);
  if (category == CATEGORY_FAULT) m_faultLines.say(text);
  if (category == CATEGORY_WARNING) m_warningLines.say(text);
  auto const now = static_cast<unsigned int>(tTime::now());
  tString const message{std::string_view(text)};
  auto* const known = find(type, message, image);
  auto const first = known != nullptr ? known->timeFirst() : now;
  auto const id = known != nullptr ? known->id() : m_lastId + 1;
  auto const times = known != nullptr ? known->occurence() + 1 : 1;
  put({first, now, id, type, message, category, nullptr, times, image});
  m_changed.insert(id);
  dropSurplus();
}

// In place of the one with the same id, if there is one.
void tEventLog::put(nk_messageEvent event) {
  auto const id = event.id();
  m_lastId = std::max(m_lastId, id);
  if (event.category() != CATEGORY_FAULT) m_dispensable.insert(id);
  m_events.insert_or_assign(id, std::move(event));
}

// Many warnings, which any peer can cause, must not drive out the faults.
void tEventLog::dropSurplus() {
  while (m_events.size() > nk_messageEventsRsp::maxEvents) {
    auto const id = m_dispensable.empty() ? m_events.begin()->first : *m_dispensable.begin();
    m_dispensable.erase(id);
    m_changed.erase(id);
    m_events.erase(id);
  }
}

nk_messageEvent* tEventLog::find(teEvent type, tString const& text, tString const& image) {
  auto const found = std::find_if(m_events.rbegin(), m_events.rend(), [&](auto& each) {
    auto& one = each.second;
    return one.type() == type && one.eventMessage() == text && one.refImage() == image;
  });
  return found != m_events.rend() ? &found->second : nullptr;
}

bool tEventLog::keep() {
  auto const write = [](nk_messageEventsRsp& response, tBlob& record) {
    nk_serializer content;
    bool const written = response.serializeMsg(&content);
    record.swap(content);
    return written;
  };
  auto const whole = [&](tBlob& record) {
    nk_messageEventsRsp all(tStore::storedVersion, nullptr, nullptr);
    addTo(all);
    return write(all, record);
  };
  m_file.settle(whole);
  if (m_changed.empty()) return true;
  nk_messageEventsRsp changes(tStore::storedVersion, nullptr, nullptr);
  for (auto const id : m_changed) changes.addEvent(&m_events.at(id));
  // Failures of the store record events: those are for the next call.
  std::set<tId> tried;
  tried.swap(m_changed);
  tBlob record;
  if (write(changes, record) && m_file.add(record, record.size(), whole)) return true;
  for (auto const id : tried)
    if (m_events.contains(id)) m_changed.insert(id);
  return false;
}

void tEventLog::addTo(nk_messageEventsRsp& response) {
  for (auto& each : m_events) response.addEvent(&each.second);
}
