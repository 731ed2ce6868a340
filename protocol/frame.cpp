#include "protocol/frame.h"

#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "nkSupport/tCompression.h"

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
  bool const valid = decode(stream.data() + m_start.position + 1, size, part);
  stream.slice(m_end.position + 1);
  m_start = m_end = tMark();
  return valid;
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
