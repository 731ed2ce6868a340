#include "tools/nkdevice/eventLog.h"

#include <algorithm>

#include "nkSupport/tTime.h"
#include "tools/common/program.h"

namespace {

constexpr char const* eventsFile = "events.bin";

// As nk_messageEventsRsp::categoryColor has them; the last one has no colour.
enum teCategory : unsigned char { CATEGORY_FAULT = 0, CATEGORY_WARNING = 1, CATEGORY_NOTICE = 2 };

teCategory categoryOf(teEvent type) {
  if (type == EVENT_STATE_TROUBLE) return CATEGORY_FAULT;
  return type == EVENT_REQUEST_REFUSED || type == EVENT_IMAGE_REFUSED ? CATEGORY_WARNING
                                                                      : CATEGORY_NOTICE;
}

}  // namespace

void tEventLog::load() {
  nk_messageEventsRsp stored(tStore::storedVersion, nullptr, nullptr);
  if (!m_store.read(eventsFile, stored)) return;
  m_events.setFrom(stored);
  for (unsigned int i = 0; i < m_events.count(); ++i)
    m_lastId = std::max(m_lastId, m_events.getEvent(i)->id());
}

void tEventLog::record(teEvent type, std::string const& text, tString const& image) {
  auto const category = categoryOf(type);
  if (category != CATEGORY_NOTICE) nk_tools::say(text);
  auto const now = static_cast<unsigned int>(tTime::now());
  tString const message{std::string_view(text)};
  m_changed = true;
  if (auto* const known = find(type, message, image)) {
    known->set({known->timeFirst(), now, known->id(), type, message, category, nullptr,
                known->occurence() + 1, image});
    return;
  }
  m_events.addEvent(now, now, ++m_lastId, type, message, category, nullptr, 1, image);
}

nk_messageEvent* tEventLog::find(teEvent type, tString const& text, tString const& image) const {
  for (unsigned int i = m_events.count(); i-- != 0;) {
    auto* const one = m_events.getEvent(i);
    if (one->type() == type && one->eventMessage() == text && one->refImage() == image) return one;
  }
  return nullptr;
}

bool tEventLog::keep() {
  if (!m_changed) return true;
  m_changed = false;
  return m_store.write(eventsFile, m_events);
}
