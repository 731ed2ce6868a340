#include "nkProtocol/checksumResponse.h"

#include "codec/withinMemory.h"
#include "messages/jsonFields.h"

nk_messageChecksumRsp::nk_messageChecksumRsp(teType type, nk_serializer* ser, teVersion version)
    : nk_message(type, version) {
  nk_messageChecksumRsp::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageChecksumRsp::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  return ser != nullptr && ser->string(m_checksum, d);
}

bool nk_messageChecksumRsp::jsonForm(nk_jsonFields fields) {
  return fields.text("cs", m_checksum).done();
}

bool nk_messageChecksumRsp::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageChecksumRsp::serializeFromJson(tJson* json) {
  return withinMemory([&] { return acceptsJson(json) && jsonForm({*json, nk_jsonFields::READ}); });
}
