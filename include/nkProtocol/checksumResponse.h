#pragma once

#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkSupport/tString.h"

class nk_jsonFields;

/// What SET_CONFIG_RSP and SET_SCHEDULES_RSP share: the checksum of what the device now holds, for
/// the station to compare with its own. The text is carried as it is, never computed or checked.
/// Body, every version: string checksum.
/// Not synchronised: the owner locks.
class NK_API nk_messageChecksumRsp : public nk_message {
 public:
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// The text of the body; empty until it is set or read.
  tString const& getChecksum() const { return m_checksum; }
  void setChecksum(tString const& checksum) { m_checksum = checksum; }

 protected:
  /// See nk_message: for sending, and with a body that was received. For the classes of the two
  /// types.
  nk_messageChecksumRsp(teType type, teVersion version) : nk_message(type, version) {}
  nk_messageChecksumRsp(teType type, nk_serializer* ser, teVersion version);

 private:
  bool jsonForm(nk_jsonFields fields);

  tString m_checksum;
};
