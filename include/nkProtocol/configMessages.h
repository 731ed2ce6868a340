#pragma once

#include <memory>
#include <vector>

#include "nkProtocol/checksumResponse.h"
#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkProtocol/timeSlots.h"
#include "nkSupport/tCriticalSection.h"
#include "nkSupport/tString.h"

class nk_frameList;
class nk_jsonFields;

/// A named rectangle on a logical display. Position and size are in pixels of that display.
class NK_API tFrame {
 public:
  tFrame() = default;
  /// Keeps all values as they are: reserved ids and empty areas are not refused.
  tFrame(tString const& name, unsigned short left, unsigned short top, unsigned short width,
         unsigned short height, unsigned short id, unsigned short logDisp,
         unsigned short realtimeTimeout);
  /// Takes over all values of `other`, the id included.
  void set(tFrame const& other) { *this = other; }

  /// For people; frames are told apart by their id.
  tString const& name() const { return m_name; }
  /// Top left corner and size. Nothing keeps a frame within its display.
  unsigned short left() const { return m_left; }
  unsigned short top() const { return m_top; }
  unsigned short width() const { return m_width; }
  unsigned short height() const { return m_height; }
  /// Unique within a configuration; 0 to 9 are reserved and never given to a stored frame.
  unsigned short id() const { return m_id; }
  /// Id of the logical display that the frame lies on.
  unsigned short logDisp() const { return m_logDisp; }
  /// Lifetime of real-time content in the frame, in seconds.
  unsigned short realtimeTimeout() const { return m_realtimeTimeout; }

 private:
  friend class nk_messageSetConfigReq;
  tString m_name;
  unsigned short m_left = 0;
  unsigned short m_top = 0;
  unsigned short m_width = 64;
  unsigned short m_height = 64;
  unsigned short m_id = 0;
  unsigned short m_logDisp = 0;
  unsigned short m_realtimeTimeout = 120;
};

/// SET_CONFIG_REQ: the whole configuration of a device. The same object serves a device as its
/// configuration in force.
///
/// Body: u32 updateTime, i8 minUpdateTemp, u8 balanceTime, i8 updateTemp, u8 opMode, u8 heatMode,
/// u16 curDispSwCfg, u16 defaultLogicalDisplay, u16 slideshowInterval_sec, u8 flags (bit 0: sleep
/// user enable), u32 count and that many time slots (string name, u32 start, u32 stop, u32
/// activity), string deviceName; from version 3 on: u32 count and that many frames (string name,
/// u16 left, top, width, height, id, logDisp, realtimeTimeout). Versions below 3 never touch the
/// frames.
///
/// Threads: operations ending in _ts, and all on frames but frm_count and frame_get, take the lock
/// of the list they work on; the two locks are never held together. The scalar fields and the sleep
/// flag are not locked. serialize takes a lock for one element at a time: a list that another
/// thread changes meanwhile can make it fail, but never write an element that is half one and half
/// another.
class NK_API nk_messageSetConfigReq : public nk_message {
 public:
  /// See nk_message. The defaults are the configuration of a new device, without time slots, frames
  /// and name.
  explicit nk_messageSetConfigReq(teVersion version);
  nk_messageSetConfigReq(nk_serializer* ser, teVersion version);
  ~nk_messageSetConfigReq() override;
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// The SHA-1 text of the configuration's JSON text; a device reports that of the configuration it
  /// holds. `version` changes nothing: the JSON form is the same for all. Empty if memory runs
  /// out.
  tString checksum(teVersion version);
  /// Copies all of `other` but type and version; nothing for null and for itself. Takes the locks
  /// of both for the frames and none for the time slots.
  void setConfigFrom(nk_messageSetConfigReq* other);

  /// The name of opMode or heatMode; "invalid operating mode" or "invalid heating mode" for numbers
  /// without one. No operation refuses such numbers.
  tString operatingModeName() const;
  tString heatingModeName() const;

  /// These read and set the members curDispSwCfg, defaultLogicalDisplay and slideshowInterval_sec,
  /// unchecked.
  unsigned short getCurrentDisplaySwConfig() const { return curDispSwCfg; }
  void setDisplaySwConfiguration(unsigned short number) { curDispSwCfg = number; }
  unsigned short getDefaultLogicalDisplay() const { return defaultLogicalDisplay; }
  void setDefaultLogicalDisplay(unsigned short id) { defaultLogicalDisplay = id; }
  unsigned short getSlideShowInterval_s() const { return slideshowInterval_sec; }
  /// Stores at least 5 s. What comes from the wire or from JSON is stored as it is.
  void setSlideShowInterval_s(unsigned short seconds);
  /// Whether the user allows the device to sleep; tTimeslots' flag, atomic but not locked.
  bool sleep_getUserEnabled() const NK_NO_THREAD_SAFETY_ANALYSIS {
    return m_timeslots.getSleepUserEnabled();
  }
  void sleep_setUserEnabled(bool enabled) NK_NO_THREAD_SAFETY_ANALYSIS {
    m_timeslots.setSleepUserEnable(enabled);
  }
  /// Refers to the text in this object, not locked: valid until the name is set or read.
  tString const& device_getName() const { return m_deviceName; }
  /// False, with nothing changed, if the device has that name already.
  bool device_setName(tString const& name);

  /// The operations of tTimeslots, under the time-slot lock. The slot that timeSlot_add_ts returns
  /// is the stored one, no longer locked: for the only thread.
  void timeSlot_clear_ts();
  void timeSlot_remove_ts(unsigned int index);
  unsigned int timeSlot_count_ts();
  bool timeSlot_get_ts(unsigned int index, tTimeSlot* out);
  bool timeSlot_set_ts(unsigned int index, tTimeSlot const& slot);
  tTimeSlot* timeSlot_add_ts(tString const& name, unsigned int start, unsigned int stop, bool first,
                             bool second);
  tTimeSlot* timeSlot_add_ts(tString const& name, unsigned int start, unsigned int stop,
                             unsigned int activity);
  /// Copy the whole list with its flag out of and into the configuration. False for null.
  bool timeslots_get(tTimeslots* out);
  bool timeslots_set(tTimeslots* in);
  /// tTimeslots::durationToNext.
  unsigned int timeSlot_durationToNextTimeSlotFromTime_sec_ts(tTime& t);

  /// Updates the frame `id`, or appends one if there is none. An id of 0 to 9 is replaced by a free
  /// one; without a free id, or without memory, nothing happens.
  void frm_change_ts(tString const& name, unsigned short left, unsigned short top,
                     unsigned short width, unsigned short height, unsigned short id,
                     unsigned short logDisp, unsigned short realtimeTimeout);
  /// Deletes the first frame with this id; false if there is none.
  bool frm_remove(unsigned short id);
  /// Deletes all frames.
  void frm_clear();
  /// Number of frames, cut to 16 bits; without lock.
  unsigned short frm_count() NK_NO_THREAD_SAFETY_ANALYSIS;
  /// Copy of the frame at `index`; a default frame past the end.
  tFrame frm_get(unsigned short index);
  /// Copies the first frame with this id to `out`. False for null or if there is none.
  bool frm_getById(unsigned short id, tFrame* out);
  /// The ids of all frames, in the order of the list.
  std::vector<int> frm_getListOfFrameIds();
  /// The stored frame; null past the end. Takes no lock: for code that holds the frame lock or the
  /// only thread. Valid until the frame is removed. It may be given another id, even that of
  /// another frame: all operations here go by the ids as they are when called. For that they search
  /// the whole list from the first call of frame_get on, until the frames are cleared; frm_get and
  /// frame_get_ts leave them fast.
  tFrame* frame_get(unsigned int index) NK_NO_THREAD_SAFETY_ANALYSIS;
  /// Copies the frame at `index` to `out`. False for null or past the end.
  bool frame_get_ts(unsigned int index, tFrame* out);
  /// The first id from the larger of `hint` and 10 on that no frame has; past 65535 it goes on at
  /// 0.
  unsigned short getNewFrameId(unsigned short hint);

  unsigned int updateTime = 46800;           ///< seconds since midnight
  signed char minUpdateTemp = -20;           ///< degrees Celsius
  unsigned char balanceTime = 3;             ///< in the device's unit
  signed char updateTemp = 5;                ///< degrees Celsius
  unsigned char opMode = 0;                  ///< see operatingModeName
  unsigned char heatMode = 1;                ///< see heatingModeName
  unsigned short curDispSwCfg = 0;           ///< number of a display configuration
  unsigned short defaultLogicalDisplay = 0;  ///< id of a logical display
  unsigned short slideshowInterval_sec = 5;  ///< seconds

 private:
  bool fixedBody(nk_serializer& ser, nk_serializer::teSerDirection d);
  bool timeSlotBody(nk_serializer& ser, nk_serializer::teSerDirection d, unsigned int index);
  bool frameBody(nk_serializer& ser, nk_serializer::teSerDirection d, unsigned int index);
  bool jsonForm(nk_jsonFields fields);
  void timeSlotsJson(nk_jsonFields& fields);
  void framesJson(nk_jsonFields& fields);
  void copyTimeSlotsUnlocked(nk_messageSetConfigReq const& other) NK_NO_THREAD_SAFETY_ANALYSIS;
  void frm_change_ts(tFrame frame);

  tString m_deviceName;
  tCriticalSection m_timeSlotLock{true};
  tTimeslots m_timeslots NK_GUARDED_BY(m_timeSlotLock);
  tCriticalSection m_frameLock{true};
  std::unique_ptr<nk_frameList> m_frames NK_GUARDED_BY(m_frameLock);
};

/// SET_CONFIG_RSP: the checksum of the configuration that the device now holds.
class NK_API nk_messageSetConfigRsp : public nk_messageChecksumRsp {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageSetConfigRsp(teVersion version)
      : nk_messageChecksumRsp(SET_CONFIG_RSP, version) {}
  nk_messageSetConfigRsp(nk_serializer* ser, teVersion version)
      : nk_messageChecksumRsp(SET_CONFIG_RSP, ser, version) {}
};
