#include "nkProtocol/controlMessages.h"

#include "codec/withinMemory.h"
#include "messages/jsonFields.h"
#include "nkSupport/tTime.h"

nk_messageTime::nk_messageTime(teVersion version)
    : nk_message(TIME, version), currentTime(static_cast<unsigned int>(tTime::now())) {}

nk_messageTime::nk_messageTime(nk_serializer* ser, teVersion version) : nk_message(TIME, version) {
  nk_messageTime::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageTime::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->u32(currentTime, d);
}

bool nk_messageTime::jsonForm(nk_jsonFields fields) {
  return fields.number("currentTime", currentTime).done();
}

bool nk_messageTime::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageTime::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}

nk_messageShutdown::nk_messageShutdown(teVersion version) : nk_message(SHUTDOWN, version) {}

nk_messageShutdown::nk_messageShutdown(nk_serializer*, teVersion version)
    : nk_messageShutdown(version) {}

bool nk_messageShutdown::serialize(nk_serializer* ser, nk_serializer::teSerDirection) {
  return ser != nullptr;
}

bool nk_messageShutdown::serializeToJson(tJson* json) { return beginJson(json); }

bool nk_messageShutdown::serializeFromJson(tJson* json) { return acceptsJson(json); }

nk_messageGeneric::nk_messageGeneric(teType type, teVersion version, tString const& first,
                                     tString const& second)
    : nk_message(type, version), text1(first), text2(second) {}

nk_messageGeneric::nk_messageGeneric(teType type, nk_serializer* ser, teVersion version)
    : nk_message(type, version) {
  nk_messageGeneric::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageGeneric::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->string(text1, d) && ser->string(text2, d);
}

// PEER: generic messages travel in binary only; their JSON is whatever the object held before.
bool nk_messageGeneric::serializeToJson(tJson*) { return true; }

bool nk_messageGeneric::serializeFromJson(tJson*) { return true; }

nk_messageGenericReq::nk_messageGenericReq(teVersion version, tString const& first,
                                           tString const& second)
    : nk_messageGeneric(GENERIC_REQ, version, first, second) {}

nk_messageGenericReq::nk_messageGenericReq(nk_serializer* ser, teVersion version)
    : nk_messageGeneric(GENERIC_REQ, ser, version) {}

void nk_messageGenericReq::set(tString const& first, tString const& second) {
  text1 = first;
  text2 = second;
}

nk_messageGenericRsp::nk_messageGenericRsp(teVersion version, tString const& first,
                                           tString const& second)
    : nk_messageGeneric(GENERIC_RSP, version, first, second) {}

nk_messageGenericRsp::nk_messageGenericRsp(nk_serializer* ser, teVersion version)
    : nk_messageGeneric(GENERIC_RSP, ser, version) {}
