#include "nkProtocol/message.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "codec/withinMemory.h"
#include "messages/messageTable.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tJson.h"

namespace {

// The JSON form's own version, independent of the binary layout's.
constexpr long long jsonVersion = 1;

constexpr char const* keyAction = "action";
constexpr char const* keyType = "type";
constexpr char const* keyVersion = "tv";

void (*logHook)(char const*, va_list) = nullptr;

}  // namespace

// Pure, and yet with a body for classes that have none of their own to call.
bool nk_message::serialize(nk_serializer*, nk_serializer::teSerDirection) { return false; }

bool nk_message::serializeMsg(nk_serializer* ser) {
  if (ser == nullptr) return false;
  unsigned short type = m_type;
  unsigned short version = m_version;
  return ser->u16(type, nk_serializer::SER_WRITE) && ser->u16(version, nk_serializer::SER_WRITE) &&
         serialize(ser, nk_serializer::SER_WRITE);
}

nk_message* nk_message::getMessage(tBlob* blob) {
  if (blob == nullptr) return nullptr;
  nk_serializer ser(blob);
  unsigned short type = 0;
  unsigned short version = 0;
  if (!ser.u16(type, nk_serializer::SER_READ) || !ser.u16(version, nk_serializer::SER_READ)) {
    return nullptr;
  }
  nk_messageKind const* kind = messageKind(teType(type));
  if (kind != nullptr && kind->make != nullptr) {
    // PEER: a body that fails to parse still gives a message, with what could be read.
    try {
      std::unique_ptr<nk_message> message(kind->make(&ser, teVersion(version)));
      return ser.lackedMemory() ? nullptr : message.release();
    } catch (std::exception const&) {  // no memory for what it holds
      return nullptr;
    }
  }
  // PEER: standard output and no line end; supervisors of deployed devices look for this text.
  std::printf("!!!!! TODO !!!!!, unhandled message type: %d (version %d)", type, version);
  return nullptr;
}

tString nk_message::getJson() {
  tJson json;
  return serializeToJson(&json) ? json.getJson(false) : tString();
}

tString nk_message::typeName(teType type) {
  nk_messageKind const* kind = messageKind(type);
  return kind != nullptr ? kind->name : "invalid";
}

void nk_message::registerLog(void (*hook)(char const* format, va_list arguments)) {
  logHook = hook;
}

void nk_message::log(char const* format, ...) {
  if (format == nullptr || logHook == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  logHook(format, arguments);
  va_end(arguments);
}

tString nk_message::vectorU64Checksum(std::vector<unsigned long long> const& values) {
  // Same set and order as leaving out repetitions and sorting with sortU64, in O(n log n).
  return textWithinMemory([&values] {
    std::vector<unsigned long long> unique(values);
    std::sort(unique.begin(), unique.end());
    unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
    // PEER: no separator between the numbers, so {1, 23} and {123} share a checksum.
    SHA1 sha1;
    for (unsigned long long value : unique) {
      tString const digits = tString::fromUInt64(value);
      sha1.Input(reinterpret_cast<unsigned char const*>(digits.c_str()), digits.length());
    }
    return sha1.Result();
  });
}

bool nk_message::beginJson(tJson* json) const {
  nk_messageKind const* kind = messageKind(m_type);
  if (json == nullptr || kind == nullptr || kind->action == nullptr) return false;
  return withinMemory([&] {
    json->clear();
    json->addString(keyAction, kind->action);
    json->addString(keyType, kind->direction);
    json->addInt(keyVersion, jsonVersion);
    return true;
  });
}

bool nk_message::acceptsJsonKind(tJson const* json) const {
  nk_messageKind const* kind = messageKind(m_type);
  return json != nullptr && kind != nullptr && kind->action != nullptr && withinMemory([&] {
           return json->getString(keyAction) == kind->action &&
                  json->getString(keyType) == kind->direction;
         });
}

bool nk_message::acceptsJsonVersion(tJson const& json) {
  return json.getInt(keyVersion, 0) >= jsonVersion;
}

bool nk_message::acceptsJson(tJson const* json) const {
  return acceptsJsonKind(json) && acceptsJsonVersion(*json);
}

bool sortU64(unsigned long long& a, unsigned long long& b) { return a > b; }
