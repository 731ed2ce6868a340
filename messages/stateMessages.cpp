#include "nkProtocol/stateMessages.h"

#include <algorithm>
#include <utility>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/jsonFields.h"

nk_messageStateReq::nk_messageStateReq(teVersion version) : nk_message(STATE_REQ, version) {}

nk_messageStateReq::nk_messageStateReq(nk_serializer* ser, teVersion version)
    : nk_messageStateReq(version) {
  nk_messageStateReq::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageStateReq::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->u8(m_task, d) && ser->string(m_newName, d);
}

bool nk_messageStateReq::jsonForm(nk_jsonFields fields) {
  return fields.text("name", m_newName).number("task", m_task).done();
}

bool nk_messageStateReq::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageStateReq::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}

void nk_messageStateReq::setTaskNewName(tString const& name) {
  m_task = TASK_NEW_NAME;
  m_newName = name;
}

nk_messageStateRsp::nk_messageStateRsp(teVersion version) : nk_message(STATE_RSP, version) {}

nk_messageStateRsp::nk_messageStateRsp(nk_serializer* ser, teVersion version)
    : nk_messageStateRsp(version) {
  nk_messageStateRsp::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageStateRsp::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  bool const hasLegacy = version() == VERSION_0;
  bool const hasImages = version() >= VERSION_1;
  bool const hasExtState = version() >= VERSION_2;
  auto const clearImages = [&] {
    if (d == nk_serializer::SER_READ) m_images.clear();
  };
  auto const image = [&](unsigned int index) {
    unsigned long long uid = d == nk_serializer::SER_WRITE ? m_images[index] : 0;
    if (!ser->u64(uid, d)) return false;
    if (d == nk_serializer::SER_READ) m_images.push_back(uid);
    return true;
  };
  return ser != nullptr && ser->u32(m_serial, d) && ser->string(m_ci, d) &&
         ser->string(m_csCfg, d) && ser->string(m_csSched, d) && ser->string(m_vc, d) &&
         ser->string(m_va, d) && ser->u32(m_omc, d) && ser->u32(m_second, d) &&
         ser->u32(m_evc, d) && (!hasLegacy || ser->string(m_legacy, d)) &&
         ser->string(m_devName, d) && ser->string(m_devCus, d) && ser->u32(m_flags, d) &&
         (!hasImages ||
          transferList<unsigned int>(*ser, d, static_cast<unsigned int>(m_images.size()),
                                     clearImages, image)) &&
         (!hasExtState || ser->u64(m_extState, d));
}

bool nk_messageStateRsp::jsonForm(nk_jsonFields fields) {
  auto const image = [&](nk_jsonFields object, unsigned int index) {
    unsigned long long uid = fields.writing() ? m_images[index] : 0;
    object.number("uid", uid);
    if (!fields.writing()) m_images.push_back(uid);
    return true;
  };
  fields.number("serial", m_serial)
      .text("ci", m_ci)
      .text("csCfg", m_csCfg)
      .text("csSched", m_csSched)
      .text("vc", m_vc)
      .text("va", m_va)
      .number("omc", m_omc)
      .number("evc", m_evc)
      .text("devName", m_devName)
      .text("devCus", m_devCus)
      .number("flags", m_flags);
  unsigned int const count = static_cast<unsigned int>(m_images.size());
  if (!fields.writing()) m_images.clear();
  return fields.list("images", count, image).number("extState", m_extState).done();
}

bool nk_messageStateRsp::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageStateRsp::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}

void nk_messageStateRsp::set(unsigned int serial, tString const& ci, tString const& csCfg,
                             tString const& csSched, unsigned int omc, unsigned int second,
                             tString const& vc, tString const& va, unsigned int evc, tString legacy,
                             tString devName, tString devCus,
                             std::vector<unsigned long long> images) {
  m_serial = serial;
  m_ci = ci;
  m_csCfg = csCfg;
  m_csSched = csSched;
  m_omc = omc;
  m_second = second;
  m_vc = vc;
  m_va = va;
  m_evc = evc;
  m_legacy = std::move(legacy);
  m_devName = std::move(devName);
  m_devCus = std::move(devCus);
  m_images = std::move(images);
}

void nk_messageStateRsp::setMobileState(teNkMobileRan ran, bool active) {
  constexpr unsigned long long lowByte = 0xFF;
  m_extState = (m_extState & ~lowByte) | (active ? 1u : 0u) |
               ((static_cast<unsigned long long>(ran) << 1) & lowByte);
}

bool nk_messageStateRsp::imageUidPresent(unsigned long long uid) const {
  return std::find(m_images.begin(), m_images.end(), uid) != m_images.end();
}

bool nk_messageStateRsp::imageUidsPresent(tUidList const& uids) const {
  // Sorted once: both lists may be long, and one comes from a peer.
  std::vector<unsigned long long> present;
  if (!withinMemory([&] { return present = m_images, true; })) return false;
  std::sort(present.begin(), present.end());
  return std::all_of(uids.begin(), uids.end(), [&present](unsigned long long uid) {
    return std::binary_search(present.begin(), present.end(), uid);
  });
}
