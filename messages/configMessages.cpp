#include "nkProtocol/configMessages.h"

#include <algorithm>
#include <iterator>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/frameList.h"
#include "messages/jsonFields.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tJson.h"

namespace {

constexpr unsigned char sleepUserEnabledFlag = 1;
constexpr unsigned short shortestSlideShowInterval_s = 5;
constexpr char const* operatingModes[] = {"normal", "dpi", "slideshow", "dynamic"};
constexpr char const* heatingModes[] = {"tempering", "inCaseOfUpdate"};

/// What a time slot is made of, on its way through a body or a JSON object.
struct tSlotFields {
  tString name;
  unsigned int start = 0;
  unsigned int stop = 0;
  unsigned int activity = 0;

  void take(tTimeSlot const& slot) {
    name = slot.name();
    start = slot.startTime();
    stop = slot.stopTime();
    activity = slot.activity();
  }
};

}  // namespace

tFrame::tFrame(tString const& name, unsigned short left, unsigned short top, unsigned short width,
               unsigned short height, unsigned short id, unsigned short logDisp,
               unsigned short realtimeTimeout)
    : m_name(name),
      m_left(left),
      m_top(top),
      m_width(width),
      m_height(height),
      m_id(id),
      m_logDisp(logDisp),
      m_realtimeTimeout(realtimeTimeout) {}

nk_messageSetConfigReq::nk_messageSetConfigReq(teVersion version)
    : nk_message(SET_CONFIG_REQ, version), m_frames(std::make_unique<nk_frameList>()) {}

nk_messageSetConfigReq::nk_messageSetConfigReq(nk_serializer* ser, teVersion version)
    : nk_messageSetConfigReq(version) {
  nk_messageSetConfigReq::serialize(ser, nk_serializer::SER_READ);
}

nk_messageSetConfigReq::~nk_messageSetConfigReq() = default;

bool nk_messageSetConfigReq::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  if (ser == nullptr) return false;
  bool const reading = d == nk_serializer::SER_READ;
  auto const clearSlots = [&] {
    if (reading) timeSlot_clear_ts();
  };
  auto const clearFrames = [&] {
    if (reading) frm_clear();
  };
  return fixedBody(*ser, d) &&
         transferList<unsigned int>(*ser, d, reading ? 0 : timeSlot_count_ts(), clearSlots,
                                    [&](unsigned int i) { return timeSlotBody(*ser, d, i); }) &&
         ser->string(m_deviceName, d) &&
         (version() < VERSION_3 ||
          transferList<unsigned int>(*ser, d, frm_count(), clearFrames,
                                     [&](unsigned int i) { return frameBody(*ser, d, i); }));
}

bool nk_messageSetConfigReq::fixedBody(nk_serializer& ser, nk_serializer::teSerDirection d) {
  unsigned char flags = sleep_getUserEnabled() ? sleepUserEnabledFlag : 0;
  bool const passed = ser.u32(updateTime, d) && ser.i8(minUpdateTemp, d) &&
                      ser.u8(balanceTime, d) && ser.i8(updateTemp, d) && ser.u8(opMode, d) &&
                      ser.u8(heatMode, d) && ser.u16(curDispSwCfg, d) &&
                      ser.u16(defaultLogicalDisplay, d) && ser.u16(slideshowInterval_sec, d) &&
                      ser.u8(flags, d);
  if (passed && d == nk_serializer::SER_READ) {
    sleep_setUserEnabled((flags & sleepUserEnabledFlag) != 0);
  }
  return passed;
}

bool nk_messageSetConfigReq::timeSlotBody(nk_serializer& ser, nk_serializer::teSerDirection d,
                                          unsigned int index) {
  tSlotFields slot;
  if (d == nk_serializer::SER_WRITE) {
    tTimeSlot stored;
    if (!timeSlot_get_ts(index, &stored)) return false;
    slot.take(stored);
  }
  if (!ser.string(slot.name, d) || !ser.u32(slot.start, d) || !ser.u32(slot.stop, d) ||
      !ser.u32(slot.activity, d)) {
    return false;
  }
  if (d == nk_serializer::SER_READ) {
    timeSlot_add_ts(slot.name, slot.start, slot.stop, slot.activity);
  }
  return true;
}

bool nk_messageSetConfigReq::frameBody(nk_serializer& ser, nk_serializer::teSerDirection d,
                                       unsigned int index) {
  tFrame frame;
  if (d == nk_serializer::SER_WRITE && !frame_get_ts(index, &frame)) return false;
  if (!ser.string(frame.m_name, d) || !ser.u16(frame.m_left, d) || !ser.u16(frame.m_top, d) ||
      !ser.u16(frame.m_width, d) || !ser.u16(frame.m_height, d) || !ser.u16(frame.m_id, d) ||
      !ser.u16(frame.m_logDisp, d) || !ser.u16(frame.m_realtimeTimeout, d)) {
    return false;
  }
  if (d == nk_serializer::SER_READ) frm_change_ts(frame);
  return true;
}

bool nk_messageSetConfigReq::jsonForm(nk_jsonFields fields) {
  bool sleepUserEnabled = sleep_getUserEnabled();
  fields.number("updateTime", updateTime)
      .number("minUpdateTemp", minUpdateTemp)
      .number("balanceTime", balanceTime)
      .number("updateTemp", updateTemp)
      .number("opMode", opMode)
      .number("heatMode", heatMode)
      .number("curDispSwCfg", curDispSwCfg)
      .number("defaultLogicalDisplay", defaultLogicalDisplay)
      .number("slideshowInterval_sec", slideshowInterval_sec)
      .flag("sleepUserEna", sleepUserEnabled);
  if (!fields.writing()) sleep_setUserEnabled(sleepUserEnabled);
  timeSlotsJson(fields);
  fields.text("deviceName", m_deviceName);
  framesJson(fields);
  return true;
}

void nk_messageSetConfigReq::timeSlotsJson(nk_jsonFields& fields) {
  tLockGuard guard(m_timeSlotLock);
  tTimeslots* const slots = &m_timeslots;  // the analysis of locks does not see into lambdas
  if (!fields.writing()) slots->clear();
  fields.list("timeslots", slots->count(), [&](nk_jsonFields object, unsigned int index) {
    tSlotFields slot;
    if (object.writing()) slot.take(*slots->get(index));
    object.text("name", slot.name)
        .number("start", slot.start)
        .number("stop", slot.stop)
        .number("activity", slot.activity);
    if (!object.writing()) slots->add(slot.name, slot.start, slot.stop, slot.activity);
    return true;
  });
}

void nk_messageSetConfigReq::framesJson(nk_jsonFields& fields) {
  tLockGuard guard(m_frameLock);
  nk_frameList const& frames = *m_frames;
  if (!fields.writing()) frm_clear();
  fields.list("frames", frames.count(), [&](nk_jsonFields object, unsigned int index) {
    // What a member that is missing counts as.
    tFrame frame("", 0, 0, 0, 0, 0, 0, 0);
    if (object.writing()) frame = *frames.get(index);
    object.text("name", frame.m_name)
        .number("left", frame.m_left)
        .number("top", frame.m_top)
        .number("width", frame.m_width)
        .number("height", frame.m_height)
        .number("id", frame.m_id)
        .number("logDisp", frame.m_logDisp)
        .number("realtimeTimeout", frame.m_realtimeTimeout);
    if (!object.writing()) frm_change_ts(frame);
    return true;
  });
}

bool nk_messageSetConfigReq::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageSetConfigReq::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}

tString nk_messageSetConfigReq::checksum(teVersion asVersion) {
  // PEER: the version is taken for layouts to come; the JSON form is the same for all.
  teVersion const before = version();
  setVersion(asVersion);
  tString const text = getJson();
  setVersion(before);
  if (text.empty()) return {};  // no memory
  SHA1 sha1;
  sha1.Input(reinterpret_cast<unsigned char const*>(text.c_str()), text.length());
  return textWithinMemory([&sha1] { return sha1.Result(); });
}

void nk_messageSetConfigReq::setConfigFrom(nk_messageSetConfigReq* other) {
  if (other == nullptr || other == this) return;
  updateTime = other->updateTime;
  minUpdateTemp = other->minUpdateTemp;
  balanceTime = other->balanceTime;
  updateTemp = other->updateTemp;
  opMode = other->opMode;
  heatMode = other->heatMode;
  curDispSwCfg = other->curDispSwCfg;
  defaultLogicalDisplay = other->defaultLogicalDisplay;
  slideshowInterval_sec = other->slideshowInterval_sec;
  m_deviceName = other->m_deviceName;
  copyTimeSlotsUnlocked(*other);
  frm_clear();
  tFrame frame;
  for (unsigned int i = 0; other->frame_get_ts(i, &frame); ++i) frm_change_ts(frame);
}

// PEER: neither lock is taken here; who copies a whole configuration keeps others away from both.
void nk_messageSetConfigReq::copyTimeSlotsUnlocked(nk_messageSetConfigReq const& other) {
  m_timeslots = other.m_timeslots;
}

tString nk_messageSetConfigReq::operatingModeName() const {
  return opMode < std::size(operatingModes) ? operatingModes[opMode] : "invalid operating mode";
}

tString nk_messageSetConfigReq::heatingModeName() const {
  return heatMode < std::size(heatingModes) ? heatingModes[heatMode] : "invalid heating mode";
}

void nk_messageSetConfigReq::setSlideShowInterval_s(unsigned short seconds) {
  // PEER: only this setter clamps; what peers send is kept and checksummed as it came.
  slideshowInterval_sec = std::max(seconds, shortestSlideShowInterval_s);
}

bool nk_messageSetConfigReq::device_setName(tString const& name) {
  if (name == m_deviceName) return false;
  m_deviceName = name;
  return true;
}

void nk_messageSetConfigReq::timeSlot_clear_ts() {
  tLockGuard guard(m_timeSlotLock);
  m_timeslots.clear();
}

void nk_messageSetConfigReq::timeSlot_remove_ts(unsigned int index) {
  tLockGuard guard(m_timeSlotLock);
  m_timeslots.remove(index);
}

unsigned int nk_messageSetConfigReq::timeSlot_count_ts() {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.count();
}

bool nk_messageSetConfigReq::timeSlot_get_ts(unsigned int index, tTimeSlot* out) {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.get(index, out);
}

bool nk_messageSetConfigReq::timeSlot_set_ts(unsigned int index, tTimeSlot const& slot) {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.setTimeslot(index, slot);
}

tTimeSlot* nk_messageSetConfigReq::timeSlot_add_ts(tString const& name, unsigned int start,
                                                   unsigned int stop, bool first, bool second) {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.add(name, start, stop, first, second);
}

tTimeSlot* nk_messageSetConfigReq::timeSlot_add_ts(tString const& name, unsigned int start,
                                                   unsigned int stop, unsigned int activity) {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.add(name, start, stop, activity);
}

bool nk_messageSetConfigReq::timeslots_get(tTimeslots* out) {
  if (out == nullptr) return false;
  tLockGuard guard(m_timeSlotLock);
  out->set(m_timeslots);
  return true;
}

bool nk_messageSetConfigReq::timeslots_set(tTimeslots* in) {
  if (in == nullptr) return false;
  tLockGuard guard(m_timeSlotLock);
  m_timeslots.set(*in);
  return true;
}

unsigned int nk_messageSetConfigReq::timeSlot_durationToNextTimeSlotFromTime_sec_ts(tTime& t) {
  tLockGuard guard(m_timeSlotLock);
  return m_timeslots.durationToNext(t);
}

void nk_messageSetConfigReq::frm_change_ts(tString const& name, unsigned short left,
                                           unsigned short top, unsigned short width,
                                           unsigned short height, unsigned short id,
                                           unsigned short logDisp, unsigned short realtimeTimeout) {
  withinMemory([&] {
    frm_change_ts(tFrame(name, left, top, width, height, id, logDisp, realtimeTimeout));
    return true;
  });
}

void nk_messageSetConfigReq::frm_change_ts(tFrame frame) {
  // One hold of the lock for choosing the id and for adding, so that no other thread can choose the
  // same.
  tLockGuard guard(m_frameLock);
  if (frame.m_id < nk_frameList::firstId) {
    frame.m_id = m_frames->freeId(nk_frameList::firstId);
    if (frame.m_id == 0) return;
  } else if (tFrame* const stored = m_frames->getById(frame.m_id)) {
    *stored = frame;
    return;
  }
  m_frames->add(frame);
}

bool nk_messageSetConfigReq::frm_remove(unsigned short id) {
  tLockGuard guard(m_frameLock);
  return m_frames->remove(id);
}

void nk_messageSetConfigReq::frm_clear() {
  tLockGuard guard(m_frameLock);
  m_frames->clear();
}

unsigned short nk_messageSetConfigReq::frm_count() {
  return static_cast<unsigned short>(m_frames->count());
}

tFrame nk_messageSetConfigReq::frm_get(unsigned short index) {
  tFrame frame;
  frame_get_ts(index, &frame);
  return frame;
}

bool nk_messageSetConfigReq::frm_getById(unsigned short id, tFrame* out) {
  tLockGuard guard(m_frameLock);
  tFrame const* const stored = m_frames->getById(id);
  if (out == nullptr || stored == nullptr) return false;
  *out = *stored;
  return true;
}

std::vector<int> nk_messageSetConfigReq::frm_getListOfFrameIds() {
  tLockGuard guard(m_frameLock);
  std::vector<int> ids;
  for (unsigned int i = 0; i < m_frames->count(); ++i) ids.push_back(m_frames->get(i)->id());
  return ids;
}

tFrame* nk_messageSetConfigReq::frame_get(unsigned int index) { return m_frames->lend(index); }

bool nk_messageSetConfigReq::frame_get_ts(unsigned int index, tFrame* out) {
  tLockGuard guard(m_frameLock);
  tFrame const* const stored = m_frames->get(index);
  if (out == nullptr || stored == nullptr) return false;
  *out = *stored;
  return true;
}

unsigned short nk_messageSetConfigReq::getNewFrameId(unsigned short hint) {
  tLockGuard guard(m_frameLock);
  return m_frames->freeId(std::max(hint, nk_frameList::firstId));
}
