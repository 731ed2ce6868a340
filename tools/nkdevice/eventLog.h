#pragma once

#include <string>

#include "nkProtocol/eventMessages.h"
#include "tools/nkdevice/store.h"

/// What can happen to a panel: the types of its events. docs/programs.md lists them.
enum teEvent : unsigned short {
  EVENT_STARTED = 1,
  EVENT_SHUT_DOWN,
  EVENT_CONFIGURATION_SET,
  EVENT_SCHEDULES_SET,
  EVENT_NAME_SET,
  EVENT_IMAGE_STORED,
  EVENT_IMAGE_REMOVED,
  EVENT_REQUEST_REFUSED,
  EVENT_IMAGE_REFUSED,
  EVENT_STATE_TROUBLE,
};

/// The panel's record of events, kept over restarts. What happens again, in the same words, counts
/// on in the event that is there. The oldest of more than nk_messageEventsRsp::maxEvents go.
/// Not synchronised.
class tEventLog {
 public:
  /// `store` is borrowed for the life of this object.
  explicit tEventLog(tStore const& store)
      : m_store(store), m_events(tStore::storedVersion, nullptr, nullptr) {}

  /// Takes over what is stored, to be called once before anything is recorded.
  void load();
  /// Records that `type` happened just now. Faults and warnings are also said on standard error.
  /// `image` names the image that it is about.
  void record(teEvent type, std::string const& text, tString const& image = tString());
  /// Stores what was recorded since the last call; to be called once all work of the moment is
  /// done, as it takes its time. False if that fails.
  bool keep();

  /// The events, for an answer: oldest first occurrence first.
  nk_messageEventsRsp const& events() const { return m_events; }

 private:
  nk_messageEvent* find(teEvent type, tString const& text, tString const& image) const;

  tStore const& m_store;
  nk_messageEventsRsp m_events;
  unsigned int m_lastId = 0;
  bool m_changed = false;
};
