#pragma once

#include <map>
#include <set>
#include <string>

#include "nkProtocol/eventMessages.h"
#include "tools/nkdevice/journal.h"
#include "tools/nkdevice/lineLimit.h"

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

/// The panel's record of events, kept over restarts. An event that occurs again, in the same words,
/// adds to the occurrences of the one that is there. Beyond nk_messageEventsRsp::maxEvents events
/// the oldest warning or notice is dropped, and a fault only if there are nothing but faults.
/// Not synchronised.
class tEventLog {
 public:
  /// `store` is borrowed for the life of this object.
  explicit tEventLog(tStore& store) : m_file(store, "events.log", "events.bin") {}

  /// Takes over what is stored. To be called once, before anything is recorded.
  void load();
  /// Records that `type` happened just now. Faults and warnings are also said on standard error,
  /// as many as tLineLimit lets through. `image` names the image that it is about. keep() stores
  /// it.
  void record(teEvent type, std::string const& text, tString const& image = tString());
  /// Stores what was recorded since the last call. False if that fails; the next call tries again.
  bool keep();

  unsigned int count() const { return static_cast<unsigned int>(m_events.size()); }
  /// Adds the events to `response`: oldest first occurrence first.
  void addTo(nk_messageEventsRsp& response);

 private:
  using tId = unsigned int;
  using tEvents = std::map<tId, nk_messageEvent>;

  bool take(tBlob& record);
  nk_messageEvent* find(teEvent type, tString const& text, tString const& image);
  void put(nk_messageEvent event);
  void dropSurplus();

  tJournal m_file;
  tEvents m_events;
  std::set<tId> m_dispensable;  // all but the faults
  std::set<tId> m_changed;      // since the last keep()
  tId m_lastId = 0;
  // Apart, so that warnings, which any peer can cause, hide no fault.
  tLineLimit m_faultLines{"faults"}, m_warningLines{"warnings"};
};
