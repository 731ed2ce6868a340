#pragma once

#include <span>

#include "nkProtocol/checksumResponse.h"
#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkProtocol/schedule.h"
#include "nkProtocol/vector.h"
#include "nkSupport/tString.h"
#include "nkSupport/tUidList.h"

class SHA1;
class nk_jsonFields;

/// SET_SCHEDULES_REQ: the whole set of schedules of a device. The same object serves a device as
/// its set in force. It owns its schedules; pointers to them hold until they are removed.
///
/// Body: u32 count and that many schedules: u64 id, string name, u64 startTime, from version 2 on:
/// u64 stopTime, u32 flags, u16 showOnLogicalDisplay, u32 count and that many entries (u64 id,
/// string name, u32 duration, u64 imageId). Reading adds to the schedules that are there.
///
/// The JSON form does not carry everything both ways, because peers in the field expect it so: it
/// writes the flags under "frame" where it reads the logical display, and writes each schedule's
/// entries into the schedule where it reads one list of entries, of the whole object, for all.
/// Not synchronised: the owner locks.
class NK_API nk_messageSetSchedulesReq : public nk_message {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageSetSchedulesReq(teVersion version);
  nk_messageSetSchedulesReq(nk_serializer* ser, teVersion version);
  ~nk_messageSetSchedulesReq() override;
  nk_messageSetSchedulesReq(nk_messageSetSchedulesReq const&) = delete;
  nk_messageSetSchedulesReq& operator=(nk_messageSetSchedulesReq const&) = delete;
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  /// Also false if the set would be too large for a telegram (tCompression::maxDecodedSize): the
  /// shared list of entries lets a short text ask for a huge one.
  bool serializeFromJson(tJson* json) override;

  /// Deletes all schedules with their entries.
  void clear();
  /// Number of schedules.
  unsigned int count() const { return static_cast<unsigned int>(m_schedules.size()); }
  /// The schedule at `index`; null past the end.
  nk_messageSchedule* getSchedule(unsigned int index) const;
  /// Appends and takes over `schedule`; ignores null. Returns its argument.
  nk_messageSchedule* addSchedule(nk_messageSchedule* schedule);
  /// Append a new schedule, whatever its id, and return it. The second form takes the times as
  /// getStartTimeFromString does.
  nk_messageSchedule* addSchedule_(unsigned long long id, tString name, long long startTime,
                                   long long stopTime, unsigned int flags,
                                   unsigned short showOnLogicalDisplay);
  nk_messageSchedule* addSchedule_(unsigned long long id, tString name, tString startTime,
                                   tString stopTime, unsigned int flags,
                                   unsigned short showOnLogicalDisplay);
  /// Seconds since 1970-01-01 00:00:00 UTC, the low 32 bits, of "YYYY-MM-DD hh:mm:ss.fff"; the
  /// fraction is ignored. Never fails: what is no number counts as 0, numbers are cut to the width
  /// of their field (8 bits, the year 16) and count on past its range; the empty text gives 0.
  static unsigned int getStartTimeFromString(tString text);
  /// Sorts the schedules, and the entries of each, by rising id, stably; see tVector for the cost.
  void sort();
  /// The first schedule with the id of `schedule`, which must not be null; null if there is none.
  nk_messageSchedule* schedulePresent(nk_messageSchedule* schedule) const;
  /// Deletes `schedule` if it is in this set; otherwise nothing happens.
  void removeSchedule(nk_messageSchedule* schedule);
  /// The schedule that holds this very entry; null if none does, and for null.
  nk_messageSchedule* getScheduleForEntry(nk_messageScheduleEntry* entry) const;
  /// Replaces `list` by the image ids of all entries in order, repetitions and zeros included.
  void getRequiredImageUidList(tUidList& list) const;

  /// Replaces the schedules by copies of `other`'s, with no entry marked handled. Nothing for
  /// null and for itself.
  void setSchedulesFrom(nk_messageSetSchedulesReq* other);
  /// Makes this set hold what `other` holds: equal schedules stay, with their marks; changed and
  /// new ones are copied to the end; others are dropped. Of several neighbours to be dropped only
  /// every second one goes. True if one was dropped. O(n log n). False, and nothing happens, for
  /// null and for itself.
  bool setSchedulesFromWithoutClear(nk_messageSetSchedulesReq* other);
  /// The SHA-1 text of the body of this set in `version`, sorted by id (the entries too from
  /// version 2 on), so that the order of adding does not matter. Linear in the bytes; ordering the
  /// ids takes O(n log n), whatever order they come in. Empty if memory runs out.
  tString checksum(teVersion version) const;

 private:
  void addCopy(nk_messageSchedule const& original);
  using tEntries = std::span<nk_messageScheduleEntry* const>;
  static bool scheduleBody(nk_serializer& ser, teVersion asVersion,
                           nk_messageSetSchedulesReq* target, nk_messageSchedule* schedule,
                           tEntries entries);
  bool hash(SHA1& sha1, teVersion version) const;
  bool readJson(nk_jsonFields fields);
  void copyChanged(nk_messageSetSchedulesReq const& other);
  bool dropMissing(nk_messageSetSchedulesReq const& other);

  tVector_TS<nk_messageSchedule*> m_schedules;
};

/// SET_SCHEDULES_RSP: the checksum of the set of schedules that the device now holds.
class NK_API nk_messageSetSchedulesRsp : public nk_messageChecksumRsp {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageSetSchedulesRsp(teVersion version)
      : nk_messageChecksumRsp(SET_SCHEDULES_RSP, version) {}
  nk_messageSetSchedulesRsp(nk_serializer* ser, teVersion version)
      : nk_messageChecksumRsp(SET_SCHEDULES_RSP, ser, version) {}
};
