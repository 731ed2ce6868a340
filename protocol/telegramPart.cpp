#include "nkProtocol/telegramPart.h"

#include "codec/frameLayout.h"
#include "nkProtocol/serializer.h"
#include "protocol/frame.h"

nk_telegramPart::nk_telegramPart() = default;

nk_telegramPart::nk_telegramPart(nk_telegramPart const* other) : nk_basicTelegram(other) {
  if (other == nullptr) return;
  m_partId = other->m_partId;
  m_partInfo = other->m_partInfo;
}

nk_telegramPart::nk_telegramPart(unsigned int id, unsigned int src, unsigned int dest,
                                 unsigned int partId, unsigned int timestamp, bool lastPart,
                                 tBlob* payload, teType type, teCompression compression)
    : nk_basicTelegram(src, dest, id, timestamp, type),
      m_partId(partId),
      m_partInfo(lastPart ? PARTINFO_LAST_PART : PARTINFO_NOT_LAST_PART) {
  m_compression = compression;
  if (payload != nullptr) m_payload = *payload;
}

nk_telegramPart::~nk_telegramPart() = default;

tString nk_telegramPart::partInfo(tePartInfo info) {
  switch (info) {
    case PARTINFO_NOT_LAST_PART:
      return "PARTINFO_NOT_LAST_PART";
    case PARTINFO_LAST_PART:
      return "PARTINFO_LAST_PART";
  }
  return "invalid";
}

tBlob* nk_telegramPart::isSinglePartTelegram() {
  if (!isLastPart() || m_partId != 1) return nullptr;
  deCompress();
  return &m_payload;
}

// The header in either direction, in the order of frameHeader, but for the payload's size.
bool nk_telegramPart::header(nk_serializer& ser, nk_serializer::teSerDirection d,
                             unsigned char& flags) {
  return ser.u32(m_source, d) && ser.u32(m_destination, d) && ser.u32(m_id, d) &&
         ser.u32(m_partId, d) && ser.u32(m_timestamp, d) && ser.u8(flags, d);
}

unsigned char nk_telegramPart::flags() const {
  return static_cast<unsigned char>((m_type & frameFlags::type) |
                                    (m_partInfo & frameFlags::partInfo) |
                                    (m_compression & frameFlags::compression));
}

bool nk_telegramPart::serialize(tBlob* out) {
  if (out == nullptr) return false;
  if (out != &m_payload) {
    return nk_frameWriter().add(*out, *this, m_payload.data(), m_payload.size());
  }
  tBlob const payload(m_payload);  // it must not move while it is read
  return nk_frameWriter().add(*out, *this, payload.data(), payload.size());
}

bool nk_telegramPart::readBody(nk_serializer& body) {
  unsigned char flagBits = 0;
  unsigned int payloadSize = 0;
  if (!header(body, nk_serializer::SER_READ, flagBits)) return false;
  if (!body.u32(payloadSize, nk_serializer::SER_READ) || payloadSize > body.remaining()) {
    m_payload.clear();
    return false;
  }
  m_type = teType(flagBits & frameFlags::type);
  m_partInfo = tePartInfo(flagBits & frameFlags::partInfo);
  m_compression = teCompression(flagBits & frameFlags::compression);
  // The body's memory becomes the payload's: no copy.
  tBlob& bytes = body;
  bytes.slice(frameHeaderSize);
  bytes.truncate(payloadSize);
  m_payload.swap(bytes);
  return true;
}

bool nk_telegramPart::streamContainsTelegram(tBlob* stream) {
  return stream != nullptr && nk_frameReader().next(*stream, *this);
}
