#include "link/frameCutter.h"

#include <algorithm>
#include <cstring>

#include "codec/frameLayout.h"
#include "nkSupport/base128.h"

namespace {

constexpr unsigned int largestPayload = 1u << 30;  // base128 and blobs take no more
constexpr unsigned int frameOverhead = frameHeaderSize + frameCrcSize;
// Memory that trim() leaves.
constexpr unsigned int keptRoom = 64u << 10;

// How many bytes from `data` on can belong to the body of a frame: 0x80 and above.
unsigned int bodyLength(unsigned char const* data, unsigned int length) {
  constexpr unsigned long long highBits = 0x8080808080808080;
  unsigned int count = 0;
  for (unsigned long long word = 0; length - count >= sizeof word; count += sizeof word) {
    std::memcpy(&word, data + count, sizeof word);
    if ((word & highBits) != highBits) break;
  }
  while (count < length && data[count] >= 0x80) ++count;
  return count;
}

}  // namespace

nk_frameCutter::nk_frameCutter(unsigned int maxPayload)
    : m_maxFrame(2 + base128::encodedSize(frameOverhead + std::min(maxPayload, largestPayload))) {}

bool nk_frameCutter::next(unsigned char const*& data, unsigned int& length) {
  auto const skip = [&](unsigned int count) {
    data += count;
    length -= count;
  };
  while (length != 0) {
    if (!m_begun) {
      auto const* const start =
          static_cast<unsigned char const*>(std::memchr(data, frameStart, length));
      auto const junk = start != nullptr ? static_cast<unsigned int>(start - data) : length;
      m_skippedBytes += junk;
      skip(junk);
      if (start == nullptr) return false;
      m_frame.clear();
      m_begun = true;
      add(data, 1);
      skip(1);
    }
    auto const count = bodyLength(data, length);
    add(data, count);
    skip(count);
    if (!m_begun || length == 0) continue;
    if (*data != frameEnd) {
      giveUp();
      continue;
    }
    add(data, 1);
    skip(1);
    if (!m_begun || !verify()) continue;
    ++m_frames;
    return true;
  }
  return false;
}

void nk_frameCutter::add(unsigned char const* data, unsigned int count) {
  bool const fits = count <= m_maxFrame - m_frame.size();
  if (fits && (count == 0 || m_frame.append(data, count))) return;
  ++m_largeFrames;
  giveUp();
  m_skippedBytes += count;
}

void nk_frameCutter::trim() {
  if (!m_begun && m_frame.capacity() > keptRoom) m_frame.release();
  if (m_verified.capacity() > keptRoom) m_verified.release();
  if (m_part.payload()->capacity() > keptRoom) m_part.payload()->release();
}

void nk_frameCutter::giveUp() {
  m_skippedBytes += m_frame.size();
  m_begun = false;
}

bool nk_frameCutter::verify() {
  m_begun = false;
  m_verified.clear();
  if (m_verified.append(m_frame) && m_part.streamContainsTelegram(&m_verified)) return true;
  ++m_badFrames;
  return false;
}
