// A content is a number of bytes, then tokens until that many bytes are given. A token is a number
// t: even, t / 2 + 1 bytes follow; odd, one byte follows that stands for t / 2 + 3 of itself.

#include <bit>
#include <cstdint>
#include <cstring>

#include "nkSupport/tCompression.h"
#include "varint.h"
#include "words.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// A run of 3 costs 2 bytes and at most one more literal token, so it never costs more than it
// saves; a run of 2 may.
constexpr unsigned int shortestRun = 3;

constexpr unsigned int literalToken(unsigned int count) { return (count - 1) << 1; }
constexpr unsigned int runToken(unsigned int count) { return (count - shortestRun) << 1 | 1; }

// Content is scanned in windows of this many bytes, one bit of a mask each.
constexpr unsigned int windowSize = 64;

#ifdef __SSE2__
constexpr unsigned int scanStep = 16;
std::uint64_t equalNeighboursOfStep(unsigned char const* bytes) {
  __m128i const here = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
  __m128i const next = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes + 1));
  return static_cast<std::uint64_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(here, next)));
}
#else
using words::tWord;
constexpr unsigned int scanStep = sizeof(tWord);
std::uint64_t equalNeighboursOfStep(unsigned char const* bytes) {
  constexpr tWord ones = static_cast<tWord>(0x0101010101010101);
  constexpr tWord lows = 0x7F * ones;
  tWord const differ = words::loadLittle(bytes) ^ words::loadLittle(bytes + 1);
  tWord const equal = ~(((differ & lows) + lows) | differ) >> 7 & ones;
  // The product moves the bits, which are 8 apart, next to each other into the highest ones.
  return equal * static_cast<tWord>(0x0102040810204080) >> (words::bits - scanStep);
}
#endif

// Bit i says that byte i of the window equals the byte behind it. Reads window + 1 bytes.
inline std::uint64_t equalNeighbours(unsigned char const* bytes) {
  std::uint64_t mask = 0;
  for (unsigned int i = 0; i < windowSize; i += scanStep) {
    mask |= equalNeighboursOfStep(bytes + i) << i;
  }
  return mask;
}

// The same for a window that only has `count` bytes, at most 64. The last equals nothing.
std::uint64_t equalNeighboursAtEnd(unsigned char const* bytes, unsigned int count) {
  if (count == 0) return 0;
  unsigned char padded[windowSize + scanStep] = {};
  std::memcpy(padded, bytes, count);
  return equalNeighbours(padded) & ((std::uint64_t{1} << (count - 1)) - 1);
}

// The runs of at least 3 equal bytes in a window, one bit per byte, the first byte lowest.
struct tWindow {
  unsigned int at;       // where the window begins in the content
  std::uint64_t starts;  // first bytes of runs
  std::uint64_t ends;    // last bytes of runs
  std::uint64_t follow;  // bytes of runs but for the first ones

  // Whether a run from the window before goes on here.
  bool isOpen() const { return (follow & 1) != 0; }
};

// Calls take(window), in order, for the windows that runs touch.
template <class tTake>
void forEachWindow(unsigned char const* bytes, unsigned int size, tTake take) {
  auto const maskAt = [bytes, size](unsigned int at) {
    if (at >= size) return std::uint64_t{0};
    return size - at > windowSize ? equalNeighbours(bytes + at)
                                  : equalNeighboursAtEnd(bytes + at, size - at);
  };
  std::uint64_t mask = maskAt(0);
  std::uint64_t last = 0, lastGoesOn = 0;  // of the window before: its last bits
  for (unsigned int at = 0; at < size; at += windowSize) {
    std::uint64_t const behind = maskAt(at + windowSize);
    // Two equal neighbours next to each other make a run of 3.
    std::uint64_t const goesOn = mask & ((mask << 1 | last) | (mask >> 1 | behind << 63));
    last = mask >> 63;
    mask = behind;
    if ((goesOn | lastGoesOn) == 0) continue;
    std::uint64_t const follow = goesOn << 1 | lastGoesOn;
    lastGoesOn = goesOn >> 63;
    take(tWindow{at, goesOn & ~follow, follow & ~goesOn, follow});
  }
}

inline unsigned int firstOf(std::uint64_t bits) {
  return static_cast<unsigned int>(std::countr_zero(bits));
}
inline unsigned int lastOf(std::uint64_t bits) {
  return 63 - static_cast<unsigned int>(std::countl_zero(bits));
}
// How many bits are set; not every processor has an instruction for it.
inline unsigned int bitCount(std::uint64_t bits) {
  bits -= bits >> 1 & 0x5555555555555555;
  bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
  bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F;
  return static_cast<unsigned int>(bits * 0x0101010101010101 >> 56);
}

// Adds up the encoded size without a look at each run: a run adds a count, so do the literals
// before it, and it takes away all its bytes but one. Only what reaches from one window into
// another may have a count of more than one byte.
class tSizeSum {
 public:
  explicit tSizeSum(unsigned int size) : m_size(size), m_sum(varint::size(size) + size) {}

  void add(tWindow const& window) {
    if ((window.starts | window.ends) == 0) {
      m_sum -= windowSize;
      return;
    }
    std::uint64_t const behindRuns = window.ends << 1 | (m_done == window.at);
    m_sum += bitCount(window.starts) + bitCount(window.starts & ~behindRuns);
    m_sum -= bitCount(window.follow);
    bool const isRun = window.isOpen();
    unsigned int const count = isRun ? window.at + firstOf(window.ends) + 1 - m_run
                                     : window.at + firstOf(window.starts) - m_done;
    if (count > windowSize)
      m_sum += varint::size(isRun ? runToken(count) : literalToken(count)) - 1;
    if (window.ends != 0) m_done = window.at + lastOf(window.ends) + 1;
    if (window.starts != 0) m_run = window.at + lastOf(window.starts);
  }
  unsigned long long finish() const {
    return m_sum + (m_done == m_size ? 0 : varint::size(literalToken(m_size - m_done)));
  }

 private:
  unsigned int const m_size;
  unsigned long long m_sum;
  unsigned int m_done = 0;  // end of the last run
  unsigned int m_run = 0;   // start of the last run
};

// Counts are mostly small: some bytes more than asked for are copied faster than the right number.
constexpr unsigned int fewBytes = 16;

class tTokenWriter {
 public:
  // `to`..`end` takes the whole encoding.
  tTokenWriter(unsigned char* to, unsigned char const* end, tBlob const& content)
      : m_to(varint::write(to, content.size())),
        m_end(end),
        m_bytes(content.data()),
        m_size(content.size()) {}

  void add(tWindow window) {
    auto const nextRun = [this, &window] {
      m_run = window.at + firstOf(window.starts);
      window.starts &= window.starts - 1;
    };
    if (!window.isOpen()) nextRun();
    for (; window.ends != 0; window.ends &= window.ends - 1) {
      writeUpTo(window.at + firstOf(window.ends) + 1);
      nextRun();
    }
  }
  // Returns the end of what is written.
  unsigned char* finish() {
    writeLiterals(m_size);
    return m_to;
  }

 private:
  // Writes the literals before the run, and the run, which ends before `end`.
  void writeUpTo(unsigned int end) {
    unsigned int const literals = m_run - m_done, count = end - m_run;
    if (literals <= fewBytes && runToken(count) < 0x80 && m_size - m_done >= fewBytes &&
        m_end - m_to >= static_cast<int>(fewBytes) + 3) {
      // Without a branch on whether there are literals.
      *m_to = static_cast<unsigned char>(literalToken(literals));
      std::memcpy(m_to + 1, m_bytes + m_done, fewBytes);
      m_to += literals + (literals != 0);
      *m_to++ = static_cast<unsigned char>(runToken(count));
    } else {
      writeLiterals(m_run);
      m_to = varint::write(m_to, runToken(count));
    }
    *m_to++ = m_bytes[m_run];
    m_done = end;
  }
  void writeLiterals(unsigned int end) {
    unsigned int const count = end - m_done;
    if (count == 0) return;
    m_to = varint::write(m_to, literalToken(count));
    std::memcpy(m_to, m_bytes + m_done, count);
    m_to += count;
    m_done = end;
  }

  unsigned char* m_to;
  unsigned char const* const m_end;
  unsigned char const* const m_bytes;
  unsigned int const m_size;
  unsigned int m_done = 0;  // bytes of the content that are written
  unsigned int m_run = 0;   // where the run that is open begins
};

// Reads tokens from `from`..`end` and fills `to`..`toEnd`. True if both end together.
bool readTokens(unsigned char const* from, unsigned char const* end, unsigned char* to,
                unsigned char const* toEnd) {
  while (to != toEnd) {
    unsigned int token;
    if (!varint::read(from, end, token) || from == end) return false;
    auto const room = static_cast<unsigned int>(toEnd - to);
    auto const left = static_cast<unsigned int>(end - from);
    bool const spacious = room >= fewBytes && left >= fewBytes;
    if ((token & 1) != 0) {
      unsigned int const count = (token >> 1) + shortestRun;
      if (count > room) return false;
      if (spacious && count <= fewBytes) {
        std::memset(to, *from, fewBytes);
      } else {
        std::memset(to, *from, count);
      }
      to += count;
      ++from;
    } else {
      unsigned int const count = (token >> 1) + 1;
      if (count > room || count > left) return false;
      if (spacious && count <= fewBytes) {
        std::memcpy(to, from, fewBytes);
      } else {
        std::memcpy(to, from, count);
      }
      to += count;
      from += count;
    }
  }
  return from == end;
}

}  // namespace

unsigned long long tCompression::encodedSizeRLE(tBlob const& content) {
  if (content.empty()) return 0;
  tSizeSum sum(content.size());
  forEachWindow(content.data(), content.size(), [&sum](tWindow const& window) { sum.add(window); });
  return sum.finish();
}

tBlob tCompression::encodeRLE(tBlob const& content) {
  tBlob encoded;
  unsigned int const size = content.size();
  if (size == 0) return encoded;
  // A single pass, unless the room for the worst is more than there may be. A run saves at least
  // the one byte that the token of the literals before it adds; more than 64 of them add another.
  unsigned long long room = size + size / 64 + 10ULL;
  if (room > tBlob::maxSize) room = encodedSizeRLE(content);
  if (room > tBlob::maxSize) return encoded;
  unsigned char* const to = encoded.extend(static_cast<unsigned int>(room));
  if (to == nullptr) return encoded;
  tTokenWriter writer(to, to + room, content);
  forEachWindow(content.data(), size, [&writer](tWindow const& window) { writer.add(window); });
  encoded.truncate(static_cast<unsigned int>(writer.finish() - to));
  // Not to hold on to memory for nothing.
  if (encoded.size() < room / 2) return tBlob(encoded.data(), encoded.size());
  return encoded;
}

tBlob tCompression::decodeRLE(tBlob const& encoded) {
  tBlob content;
  unsigned char const* from = encoded.data();
  unsigned char const* const end = from + encoded.size();
  unsigned int size;
  if (!varint::read(from, end, size) || size == 0 || size > maxDecodedSize()) return content;
  unsigned char* const to = content.extend(size);
  if (to == nullptr || !readTokens(from, end, to, to + size)) content.release();
  return content;
}
