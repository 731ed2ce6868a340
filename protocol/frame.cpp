#include "protocol/frame.h"

#include <algorithm>

#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "nkSupport/tCompression.h"

namespace {

// What base-128 takes and gives as a whole: pieces of such sizes can be encoded one by one.
constexpr unsigned int groupSize = 7;
constexpr unsigned int encodedGroupSize = 8;

// Gives the memory of an empty buffer back if it is far more than its latest use needed. Up to room
// for the largest frame of the usual payload size it is kept in any case: fresh megabytes cost more
// than all the work on them.
void trim(tBlob& buffer, unsigned int latestUse) {
  constexpr unsigned int alwaysKept = 2 << 20;
  if (buffer.capacity() > alwaysKept && buffer.capacity() / 4 > latestUse) buffer.release();
}

// Encodes header, payload and CRC as if they stood in one piece. Only the few bytes round the
// payload's ends are copied to make whole groups.
void encodeBody(unsigned char* out, unsigned char const* header, unsigned char const* payload,
                unsigned int size, unsigned char crc) {
  constexpr unsigned int headGroups = (frameHeaderSize + groupSize - 1) / groupSize;
  unsigned char piece[headGroups * groupSize + groupSize];
  unsigned int taken =
      headGroups * groupSize - frameHeaderSize;  // payload bytes in the first piece
  std::memcpy(piece, header, frameHeaderSize);
  if (size <= taken + groupSize - frameCrcSize) {
    if (size != 0) std::memcpy(piece + frameHeaderSize, payload, size);
    piece[frameHeaderSize + size] = crc;
    base128::encode(out, piece, frameHeaderSize + size + frameCrcSize);
    return;
  }
  std::memcpy(piece + frameHeaderSize, payload, taken);
  base128::encode(out, piece, headGroups * groupSize);
  out += headGroups * encodedGroupSize;

  unsigned int const groups = (size - taken) / groupSize;
  base128::encode(out, payload + taken, groups * groupSize);
  out += groups * encodedGroupSize;
  taken += groups * groupSize;

  unsigned int const rest = size - taken;
  std::memcpy(piece, payload + taken, rest);
  piece[rest] = crc;
  base128::encode(out, piece, rest + frameCrcSize);
}

}  // namespace

void nk_frameWriter::clear() {
  unsigned int const used = m_frames.size();
  m_frames.clear();
  trim(m_frames, used);
}

bool nk_frameWriter::add(nk_telegramPart& part, unsigned char const* payload, unsigned int size) {
  return add(m_frames, part, payload, size);
}

bool nk_frameWriter::add(tBlob& out, nk_telegramPart& part, unsigned char const* payload,
                         unsigned int size) {
  m_header.clearSer();
  if (!part.header(m_header, nk_serializer::SER_WRITE) ||
      !m_header.u32(size, nk_serializer::SER_WRITE)) {
    return false;
  }
  if (size > tBlob::maxSize - frameHeaderSize - frameCrcSize) return false;
  unsigned int const bodySize = base128::encodedSize(frameHeaderSize + size + frameCrcSize);
  unsigned char* const frame = out.extend(1 + bodySize + 1);
  if (frame == nullptr) return false;
  unsigned char const crc = crc_crc8(crc_crc8init(m_header.data(), frameHeaderSize), payload, size);
  frame[0] = frameStart;
  encodeBody(frame + 1, m_header.data(), payload, size, crc);
  frame[1 + bodySize] = frameEnd;
  return true;
}

bool nk_frameReader::tMark::find(tBlob const& stream, unsigned char byte) {
  if (found) return true;
  unsigned int const index = stream.getIndexOf(byte, position);
  found = index != tBlob::npos;
  position = found ? index : stream.size();
  return found;
}

bool nk_frameReader::next(tBlob& stream, nk_telegramPart& part) {
  // PEER: an end byte ahead of the first start byte is not skipped, and blocks the stream.
  if (!m_start.find(stream, frameStart) || !m_end.find(stream, frameEnd)) return false;
  if (m_end.position < m_start.position) return false;
  unsigned int const size = m_end.position - m_start.position - 1;
  m_largest = std::max(m_largest, size);
  bool const valid = decode(stream.data() + m_start.position + 1, size, part);
  stream.slice(m_end.position + 1);
  m_start = m_end = tMark();
  return valid;
}

void nk_frameReader::recycle(tBlob& stream, nk_telegramPart& part) {
  if (part.m_payload.capacity() > m_body.capacity()) m_body.swap(part.m_payload);
  m_body.clearSer();
  trim(m_body, m_largest);
  if (stream.empty()) trim(stream, m_largest);
  m_largest = 0;
}

bool nk_frameReader::decode(unsigned char const* encoded, unsigned int size,
                            nk_telegramPart& part) {
  unsigned int const bodySize = base128::decodedSize(size);
  unsigned int const overhead = frameHeaderSize + frameCrcSize;
  if (bodySize == 0) return false;
  if (bodySize > overhead && bodySize - overhead > tCompression::maxDecodedSize()) return false;
  m_body.clearSer();
  unsigned char* const body = m_body.extend(bodySize);
  return body != nullptr && base128::decode(body, encoded, size) &&
         crc_crc8init(body, bodySize) == 0 && part.readBody(m_body);
}
