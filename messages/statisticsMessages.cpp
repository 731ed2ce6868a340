#include "nkProtocol/statisticsMessages.h"

#include <cmath>
#include <limits>

#include "codec/withinMemory.h"
#include "messages/jsonFields.h"

namespace {

// Cuts off the fraction; numbers without a place in 32 bits give the nearest end of the range, no
// number at all gives 0.
unsigned int saturated(double value) {
  constexpr unsigned int most = std::numeric_limits<unsigned int>::max();
  if (!(value > 0)) return 0;
  return value < most ? static_cast<unsigned int>(value) : most;
}

}  // namespace

nk_messageStatisticsReq::nk_messageStatisticsReq(teVersion version)
    : nk_message(STATISTICS_REQ, version) {}

nk_messageStatisticsReq::nk_messageStatisticsReq(nk_serializer*, teVersion version)
    : nk_messageStatisticsReq(version) {}

bool nk_messageStatisticsReq::serialize(nk_serializer*, nk_serializer::teSerDirection) {
  // PEER: there is nothing to pass, so null will do; station programs hand none to this message.
  return true;
}

bool nk_messageStatisticsReq::serializeToJson(tJson* json) { return beginJson(json); }

bool nk_messageStatisticsReq::serializeFromJson(tJson* json) { return acceptsJson(json); }

nk_messageStatisticsRsp::nk_messageStatisticsRsp(teVersion version)
    : nk_message(STATISTICS_RSP, version) {}

nk_messageStatisticsRsp::nk_messageStatisticsRsp(nk_serializer* ser, teVersion version)
    : nk_messageStatisticsRsp(version) {
  nk_messageStatisticsRsp::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageStatisticsRsp::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->u32(m_imgUpdateCount, d) && ser->u32(m_energy_Wh, d) &&
         ser->u32(m_energy_mWh, d) && ser->i16(m_tempCaseMin, d) &&
         ser->u32(m_tempCaseMinTime, d) && ser->i16(m_tempCaseMax, d) &&
         ser->u32(m_tempCaseMaxTime, d);
}

bool nk_messageStatisticsRsp::jsonForm(nk_jsonFields count, nk_jsonFields others) {
  count.number("imgUpdateCount", m_imgUpdateCount);
  return others.number("energy_Wh", m_energy_Wh)
      .number("energy_mWh", m_energy_mWh)
      .number("tempCaseMin", m_tempCaseMin)
      .number("tempCaseMinTime", m_tempCaseMinTime)
      .number("tempCaseMax", m_tempCaseMax)
      .number("tempCaseMaxTime", m_tempCaseMaxTime)
      .done();
}

bool nk_messageStatisticsRsp::serializeToJson(tJson* json) {
  return withinMemory([&] {
    return beginJson(json) &&
           jsonForm({*json, nk_jsonFields::WRITE}, {*json, nk_jsonFields::WRITE});
  });
}

bool nk_messageStatisticsRsp::serializeFromJson(tJson* json) {
  // PEER: the six values besides the count go into the object, not out of it; stations show from
  // there what they last read in binary form.
  return withinMemory([&] {
    return acceptsJson(json) &&
           jsonForm({*json, nk_jsonFields::READ}, {*json, nk_jsonFields::WRITE});
  });
}

void nk_messageStatisticsRsp::set(unsigned int imgUpdateCount, double energy, short tempCaseMin,
                                  unsigned int tempCaseMinTime, short tempCaseMax,
                                  unsigned int tempCaseMaxTime) {
  m_imgUpdateCount = imgUpdateCount;
  m_energy_Wh = saturated(energy);
  m_energy_mWh = saturated(std::fmod(energy * 1000.0, 1000.0));
  m_tempCaseMin = tempCaseMin;
  m_tempCaseMinTime = tempCaseMinTime;
  m_tempCaseMax = tempCaseMax;
  m_tempCaseMaxTime = tempCaseMaxTime;
}

double nk_messageStatisticsRsp::energyConsumption_Wh() const {
  return m_energy_mWh / 1000.0 + m_energy_Wh;
}
