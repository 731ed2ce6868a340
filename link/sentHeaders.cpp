#include "link/sentHeaders.h"

#include <cstring>

#include "codec/frameLayout.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"

namespace {

// The body of a frame without payload.
constexpr unsigned int bareSize = frameHeaderSize + frameCrcSize;

}  // namespace

bool nk_sentHeaders::next(unsigned char const*& data, unsigned int& length) {
  while (length != 0) {
    if (m_state == IN_HEADER && *data != frameEnd && m_count < m_encoded.size()) {
      m_encoded[m_count++] = *data;
    } else if (m_state == IN_HEADER) {
      m_state = BEHIND_HEADER;
      if (readHeader()) return true;
      continue;
    } else {
      unsigned char const mark = m_state == BETWEEN ? frameStart : frameEnd;
      auto const* const found = static_cast<unsigned char const*>(std::memchr(data, mark, length));
      auto const passed = found != nullptr ? static_cast<unsigned int>(found - data) : length - 1;
      data += passed;
      length -= passed;
      if (found != nullptr) m_state = m_state == BETWEEN ? IN_HEADER : BETWEEN;
      m_count = 0;
    }
    ++data;
    --length;
  }
  return false;
}

// Makes a frame of the header alone, with a CRC of its own, and reads that.
bool nk_sentHeaders::readHeader() {
  unsigned char body[base128::decodedSize(sizeof m_encoded)];
  static_assert(sizeof body >= bareSize);
  if (base128::decodedSize(m_count) < bareSize ||
      !base128::decode(body, m_encoded.data(), m_count)) {
    return false;
  }
  std::memset(body + frameHeader::payloadSize.offset, 0, frameHeader::payloadSize.size);
  body[frameHeaderSize] = crc_crc8init(body, frameHeaderSize);
  constexpr unsigned int size = base128::encodedSize(bareSize);
  m_frame.clear();
  unsigned char* const frame = m_frame.extend(1 + size + 1);
  if (frame == nullptr) return false;
  frame[0] = frameStart;
  base128::encode(frame + 1, body, bareSize);
  frame[1 + size] = frameEnd;
  return m_part.streamContainsTelegram(&m_frame);
}
