#include "protocol/frame.h"

#include <algorithm>

#include "nkSupport/base128.h"
#include "nkSupport/crc.h"

namespace {

// What base-128 takes and gives as a whole: pieces of such sizes can be encoded one by one.
constexpr unsigned int groupSize = 7;
constexpr unsigned int encodedGroupSize = 8;

// Frees an empty buffer that is more than four times the size last used. Up to 2 MiB, enough for a
// frame of the default payload size, is always kept: allocating megabytes anew costs more than
// encoding them.
void trim(tBlob& buffer, unsigned int latestUse) {
  constexpr unsigned int alwaysKept = 2 << 20;
  if (buffer.capacity() > alwaysKept && buffer.capacity() / 4 > latestUse) buffer.release();
}

// A small body is put together and encoded at once; of a larger one only the bytes round the
// payload's ends are, to make whole groups, and the payload is encoded from where it is.
constexpr unsigned int smallPayload = 512;

void encodeSmall(unsigned char* out, unsigned char const* header, unsigned char const* payload,
                 unsigned int size) {
  unsigned char body[frameHeaderSize + smallPayload + frameCrcSize];
  std::memcpy(body, header, frameHeaderSize);
  if (size != 0) std::memcpy(body + frameHeaderSize, payload, size);
  unsigned int const length = frameHeaderSize + size;
  body[length] = crc_crc8init(body, length);
  base128::encode(out, body, length + frameCrcSize);
}

void encodeLarge(unsigned char* out, unsigned char const* header, unsigned char const* payload,
                 unsigned int size) {
  unsigned char const crc = crc_crc8(crc_crc8init(header, frameHeaderSize), payload, size);
  constexpr unsigned int headGroups = (frameHeaderSize + groupSize - 1) / groupSize;
  constexpr unsigned int headPayload = headGroups * groupSize - frameHeaderSize;
  unsigned char head[headGroups * groupSize];
  std::memcpy(head, header, frameHeaderSize);
  std::memcpy(head + frameHeaderSize, payload, headPayload);
  base128::encode(out, head, sizeof head);
  out += headGroups * encodedGroupSize;

  unsigned int const groups = (size - headPayload) / groupSize;
  base128::encode(out, payload + headPayload, groups * groupSize);
  out += groups * encodedGroupSize;

  unsigned int const taken = headPayload + groups * groupSize;
  unsigned char tail[groupSize - 1 + frameCrcSize];
  std::memcpy(tail, payload + taken, size - taken);
  tail[size - taken] = crc;
  base128::encode(out, tail, size - taken + frameCrcSize);
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
  unsigned char flags = part.flags();
  if (!part.header(m_header, nk_serializer::SER_WRITE, flags) ||
      !m_header.u32(size, nk_serializer::SER_WRITE)) {
    return false;
  }
  if (size > tBlob::maxSize - frameHeaderSize - frameCrcSize) return false;
  unsigned int const bodySize = base128::encodedSize(frameHeaderSize + size + frameCrcSize);
  unsigned char* const frame = out.extend(1 + bodySize + 1);
  if (frame == nullptr) return false;
  frame[0] = frameStart;
  auto const encode = size <= smallPayload ? encodeSmall : encodeLarge;
  encode(frame + 1, m_header.data(), payload, size);
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
  if (bodySize == 0) return false;
  m_body.clearSer();
  unsigned char* const body = m_body.extend(bodySize);
  return body != nullptr && base128::decode(body, encoded, size) &&
         crc_crc8init(body, bodySize) == 0 && part.readBody(m_body);
}
