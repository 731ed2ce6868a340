#pragma once

#include "nkProtocol/export.h"
#include "nkSupport/tString.h"
#include "nkSupport/tStringList.h"

/// One entry of a device's event log: a fault, a warning, a notice. The library carries and sorts
/// events; what times, types and categories mean is the device's business.
/// Not synchronised: the owner locks.
class NK_API nk_messageEvent {
 public:
  /// `subEvents`, further lines of detail, is copied; null stands for none. `refImage` names an
  /// image that belongs to the event; empty if there is none.
  nk_messageEvent(unsigned int timeFirst, unsigned int timeLast, unsigned int id,
                  unsigned short type, tString eventMessage, unsigned char category,
                  tStringList* subEvents, unsigned int occurrence, tString refImage);
  /// A copy shares nothing with the original, sub-events included.
  nk_messageEvent(nk_messageEvent const& other) = default;
  nk_messageEvent& operator=(nk_messageEvent const& other) = default;
  /// Takes over all values of `other`, which may be this event.
  void set(nk_messageEvent const& other) { *this = other; }

  /// When it occurred for the first and for the last time.
  unsigned int timeFirst() const { return m_timeFirst; }
  unsigned int timeLast() const { return m_timeLast; }
  /// The device's number for the event; nk_messageEventsRsp::sort can order by it.
  unsigned int id() const { return m_id; }
  /// The device's event code.
  unsigned short type() const { return m_type; }
  /// The event in words, as the device puts it.
  tString const& eventMessage() const { return m_eventMessage; }
  // PEER: which of the following are not const, and the spelling of occurence, is part of the
  // interface that programs in the field were built against.
  /// Severity; see nk_messageEventsRsp::categoryColor.
  unsigned char category() { return m_category; }
  /// Number of lines of detail.
  unsigned int subEventCount() { return m_subEvents.count(); }
  /// The sub-event at `i`; the empty text past the end.
  tString subEvent(unsigned int i) { return m_subEvents.get(i); }
  /// A copy of all sub-events, in order.
  tStringList subEventList() { return m_subEvents; }
  /// How many times it occurred.
  unsigned int occurence() { return m_occurrence; }
  /// The image that belongs to the event; empty if there is none.
  tString refImage() { return m_refImage; }

 private:
  // Fills the fields of events that come in, and writes them from where they lie.
  friend class nk_messageEventsRsp;
  nk_messageEvent() = default;

  unsigned int m_timeFirst = 0;
  unsigned int m_timeLast = 0;
  unsigned int m_id = 0;
  unsigned short m_type = 0;
  tString m_eventMessage;
  unsigned char m_category = 0;
  tStringList m_subEvents;
  unsigned int m_occurrence = 0;
  tString m_refImage;
};
