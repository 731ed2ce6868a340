#pragma once

#include "nkProtocol/export.h"
#include "nkProtocol/message.h"

class nk_jsonFields;

/// STATISTICS_REQ: asks a device for its statistics. The body is empty in every version; serialize
/// gives true even for a null serializer.
class NK_API nk_messageStatisticsReq : public nk_message {
 public:
  /// See nk_message. There is no body to read: `ser` is not looked at and may be null.
  explicit nk_messageStatisticsReq(teVersion version);
  nk_messageStatisticsReq(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;
};

/// STATISTICS_RSP: a device's running totals. All start at 0.
///
/// Body, every version, 24 bytes: u32 imgUpdateCount, u32 energy_Wh, u32 energy_mWh, i16
/// tempCaseMin, u32 tempCaseMinTime, i16 tempCaseMax, u32 tempCaseMaxTime.
///
/// The JSON form is whole only one way, because peers in the field expect it so: reading takes
/// imgUpdateCount from the object and writes the other six values of this message into it.
/// Not synchronised: the owner locks.
class NK_API nk_messageStatisticsRsp : public nk_message {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageStatisticsRsp(teVersion version);
  nk_messageStatisticsRsp(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// `energy` in watt-hours; what lies below one milliwatt-hour is dropped, a negative or undefined
  /// energy counts as 0, one of 2^32 or more has 2^32 - 1 whole watt-hours.
  void set(unsigned int imgUpdateCount, double energy, short tempCaseMin,
           unsigned int tempCaseMinTime, short tempCaseMax, unsigned int tempCaseMaxTime);
  /// Whole watt-hours and the milliwatt-hours beside them in one number.
  double energyConsumption_Wh() const;

  /// Number of image updates that the device has made.
  unsigned int imgUpdateCount() const { return m_imgUpdateCount; }
  /// The energy used: whole watt-hours, and the rest in milliwatt-hours.
  unsigned int energy_Wh() const { return m_energy_Wh; }
  unsigned int energy_mWh() const { return m_energy_mWh; }
  /// Lowest and highest temperature of the case, and when they were measured; in the device's
  /// units.
  short tempCaseMin() const { return m_tempCaseMin; }
  unsigned int tempCaseMinTime() const { return m_tempCaseMinTime; }
  short tempCaseMax() const { return m_tempCaseMax; }
  unsigned int tempCaseMaxTime() const { return m_tempCaseMaxTime; }

 private:
  bool jsonForm(nk_jsonFields count, nk_jsonFields others);

  unsigned int m_imgUpdateCount = 0;
  unsigned int m_energy_Wh = 0;
  unsigned int m_energy_mWh = 0;
  short m_tempCaseMin = 0;
  unsigned int m_tempCaseMinTime = 0;
  short m_tempCaseMax = 0;
  unsigned int m_tempCaseMaxTime = 0;
};
