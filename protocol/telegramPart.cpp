#include "nkProtocol/telegramPart.h"

#include "nkProtocol/serializer.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "protocol/frame.h"

namespace {

// What base-128 takes and gives as a whole: pieces of such sizes can be encoded one by one.
constexpr unsigned int groupSize = 7;
constexpr unsigned int encodedGroupSize = 8;

constexpr unsigned char typeMask = 0x03;
constexpr unsigned char partInfoMask = 0x0C;
constexpr unsigned char compressionMask = 0x30;

// Encodes header, payload and CRC as if they stood in one piece. Only the few bytes round the
// payload's ends are copied to make whole groups.
void encodeBody(unsigned char* out, unsigned char const* header, tBlob const& payload,
                unsigned char crc) {
  constexpr unsigned int headGroups = (frameHeaderSize + groupSize - 1) / groupSize;
  unsigned char piece[headGroups * groupSize + groupSize];
  unsigned int taken =
      headGroups * groupSize - frameHeaderSize;  // payload bytes in the first piece
  std::memcpy(piece, header, frameHeaderSize);
  if (payload.size() <= taken + groupSize - frameCrcSize) {
    if (!payload.empty()) std::memcpy(piece + frameHeaderSize, payload.data(), payload.size());
    piece[frameHeaderSize + payload.size()] = crc;
    base128::encode(out, piece, frameHeaderSize + payload.size() + frameCrcSize);
    return;
  }
  std::memcpy(piece + frameHeaderSize, payload.data(), taken);
  base128::encode(out, piece, headGroups * groupSize);
  out += headGroups * encodedGroupSize;

  unsigned int const groups = (payload.size() - taken) / groupSize;
  base128::encode(out, payload.data() + taken, groups * groupSize);
  out += groups * encodedGroupSize;
  taken += groups * groupSize;

  unsigned int const rest = payload.size() - taken;
  std::memcpy(piece, payload.data() + taken, rest);
  piece[rest] = crc;
  base128::encode(out, piece, rest + frameCrcSize);
}

}  // namespace

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

// The header in either direction, up to the payload.
bool nk_telegramPart::header(nk_serializer& ser, nk_serializer::teSerDirection d) {
  auto flags = static_cast<unsigned char>((m_type & typeMask) | (m_partInfo & partInfoMask) |
                                          (m_compression & compressionMask));
  bool const passed = ser.u32(m_source, d) && ser.u32(m_destination, d) && ser.u32(m_id, d) &&
                      ser.u32(m_partId, d) && ser.u32(m_timestamp, d) && ser.u8(flags, d);
  if (!passed || d != nk_serializer::SER_READ) return passed;
  m_type = teType(flags & typeMask);
  m_partInfo = tePartInfo(flags & partInfoMask);
  m_compression = teCompression(flags & compressionMask);
  return true;
}

bool nk_telegramPart::serialize(tBlob* out) {
  if (out == nullptr) return false;
  unsigned int payloadSize = m_payload.size();
  nk_serializer head;
  if (!header(head, nk_serializer::SER_WRITE) || !head.u32(payloadSize, nk_serializer::SER_WRITE)) {
    return false;
  }
  if (payloadSize > tBlob::maxSize - frameHeaderSize - frameCrcSize) return false;
  unsigned int const bodySize = base128::encodedSize(frameHeaderSize + payloadSize + frameCrcSize);
  unsigned char* frame = out->extend(1 + bodySize + 1);
  if (frame == nullptr) return false;
  frame[0] = frameStart;
  unsigned char const crc =
      crc_crc8(crc_crc8init(head.data(), frameHeaderSize), m_payload.data(), payloadSize);
  encodeBody(frame + 1, head.data(), m_payload, crc);
  frame[1 + bodySize] = frameEnd;
  return true;
}

bool nk_telegramPart::readBody(nk_serializer& body) {
  unsigned int payloadSize = 0;
  if (!header(body, nk_serializer::SER_READ) || !body.u32(payloadSize, nk_serializer::SER_READ) ||
      payloadSize > body.remaining()) {
    return false;
  }
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
