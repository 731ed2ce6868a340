#pragma once

#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkSupport/tString.h"

class nk_jsonFields;

/// TIME: the sender's clock. Body, every version, 4 bytes: u32 seconds.
/// Not synchronised: the owner locks.
class NK_API nk_messageTime : public nk_message {
 public:
  /// Takes the time of tTime::now().
  explicit nk_messageTime(teVersion version);
  /// From a body that was received; see nk_message.
  nk_messageTime(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Seconds since 1970-01-01 00:00:00 UTC, the low 32 bits; 0 after a body that was too short.
  unsigned int currentTime = 0;

 private:
  bool jsonForm(nk_jsonFields fields);
};

/// SHUTDOWN: orders the receiver to shut down. The body is empty in every version.
class NK_API nk_messageShutdown : public nk_message {
 public:
  /// See nk_message. There is no body to read: `ser` is not looked at and may be null.
  explicit nk_messageShutdown(teVersion version);
  nk_messageShutdown(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;
};

/// What GENERIC_REQ and GENERIC_RSP share: two texts that the library does not interpret.
/// Body, every version: string text1, string text2. They have no JSON form: serializeToJson and
/// serializeFromJson give true and touch nothing.
/// Not synchronised: the owner locks.
class NK_API nk_messageGeneric : public nk_message {
 public:
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// The two texts, in the order of the body; any bytes.
  tString text1;
  tString text2;

 protected:
  /// See nk_message: for sending, and with a body that was received. For the classes of the two
  /// types.
  nk_messageGeneric(teType type, teVersion version, tString const& first, tString const& second);
  nk_messageGeneric(teType type, nk_serializer* ser, teVersion version);
};

/// GENERIC_REQ: two free texts, asked.
class NK_API nk_messageGenericReq : public nk_messageGeneric {
 public:
  /// See nk_message: for sending, and with a body that was received.
  nk_messageGenericReq(teVersion version, tString const& first, tString const& second);
  nk_messageGenericReq(nk_serializer* ser, teVersion version);
  /// Replaces both texts.
  void set(tString const& first, tString const& second);
};

/// GENERIC_RSP: two free texts, answered.
class NK_API nk_messageGenericRsp : public nk_messageGeneric {
 public:
  /// See nk_message: for sending, and with a body that was received.
  nk_messageGenericRsp(teVersion version, tString const& first, tString const& second);
  nk_messageGenericRsp(nk_serializer* ser, teVersion version);
};
