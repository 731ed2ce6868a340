#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "huffmanCode.h"
#include "nkSupport/tCompression.h"
#include "varint.h"
#include "words.h"

namespace huffman {
namespace {

using words::tWord;

// What the next bits of a stream stand for, one byte or two: the bytes, how many bits they take,
// how many they are. Numbers of this form are joined by a sum.
using tEntry = std::uint32_t;
constexpr unsigned int bitsAt = 2, countAt = 3;  // bytes of it
constexpr tEntry makeEntry(unsigned char first, unsigned char second, unsigned char bits) {
  struct tBytes {
    unsigned char symbol[2], bits, count;
  };
  return std::bit_cast<tEntry>(tBytes{{first, second}, bits, 1});
}

struct tTable {
  // `tableWidth`: how many bits are looked at together, no fewer than the longest code.
  tTable(tCode const& tableCode, unsigned int tableWidth);

  tCode const& code;
  unsigned int const width;
  tEntry entry[1U << maxLength];
};

// The bytes of the entry that `word` begins with.
inline unsigned char const* find(tEntry const* entries, unsigned int width, tWord word) {
  return reinterpret_cast<unsigned char const*>(entries + (word >> (words::bits - width)));
}

tTable::tTable(tCode const& tableCode, unsigned int tableWidth)
    : code(tableCode), width(tableWidth) {
  tEntry second[1U << maxLength];         // by the bits behind the first byte
  unsigned int upTo[maxLength + 1] = {};  // shorter codes come first: where those of a length end
  unsigned int end = 0;
  for (unsigned int i = 0; i < code.inOrder.count; ++i) {
    unsigned char const symbol = code.inOrder.symbol[i], length = code.length[symbol];
    unsigned int const count = 1U << (tableWidth - length);
    std::fill_n(second + end, count, makeEntry(0, symbol, length));
    end += count;
    upTo[length] = end;
  }
  for (unsigned int i = 1; i <= maxLength; ++i) upTo[i] = std::max(upTo[i], upTo[i - 1]);
  // Behind first bytes of the same length there is the same choice of second ones, or none.
  tEntry choice[1U << (maxLength - 1)];
  unsigned int choiceLength = 0;
  tEntry* to = entry;
  for (unsigned int i = 0; i < code.inOrder.count; ++i) {
    unsigned char const symbol = code.inOrder.symbol[i], length = code.length[symbol];
    unsigned int const count = 1U << (tableWidth - length);
    if (length != choiceLength) {
      unsigned int const fitting = upTo[tableWidth - length] >> length;
      for (unsigned int j = 0; j < fitting; ++j) choice[j] = second[j << length];
      std::fill(choice + fitting, choice + count, 0);
      choiceLength = length;
    }
    tEntry const first = makeEntry(symbol, 0, length);
    for (unsigned int j = 0; j < count; ++j) to[j] = first + choice[j];
    to += count;
  }
}

struct tStream {
  unsigned char const* from;
  unsigned char const* end;
  unsigned int bit;  // of *from: how many are read, fewer than 8
  unsigned char* to;
  unsigned char* toEnd;
};

// With fewer than 8 bits read, a word holds the bits of this many look-ups.
constexpr unsigned int lookups = (words::bits - 7) / maxLength;

// How many steps certainly stay inside both ranges. A step reads one word and uses less.
unsigned int safeSteps(tStream const& stream, unsigned char const* end) {
  return static_cast<unsigned int>(
      std::min((end - stream.from) / static_cast<int>(sizeof(tWord)),
               (stream.toEnd - stream.to) / static_cast<int>(2 * lookups)));
}

inline void step(tStream& stream, tEntry const* entries, unsigned int width) {
  tWord word = words::loadBig(stream.from) << stream.bit;
  unsigned char* to = stream.to;
  unsigned int bits = stream.bit;
  for (unsigned int i = 0; i < lookups; ++i) {
    unsigned char const* const entry = find(entries, width, word);
    std::memcpy(to, entry, 2);
    to += entry[countAt];
    word <<= entry[bitsAt];
    bits += entry[bitsAt];
  }
  stream.to = to;
  stream.from += bits / 8;
  stream.bit = bits % 8;
}

// The word at `from`, with zeros behind `end`.
tWord loadBigUpTo(unsigned char const* from, unsigned char const* end) {
  if (end - from >= static_cast<int>(sizeof(tWord))) return words::loadBig(from);
  tWord word = 0;
  unsigned int shift = words::bits;
  while (from < end) word |= static_cast<tWord>(*from++) << (shift -= 8);
  return word;
}

// Reads what is left. True if range and bits end together.
bool finish(tStream& stream, tTable const& table, unsigned char const* end) {
  while (stream.to != stream.toEnd) {
    tWord const word = loadBigUpTo(stream.from, end) << stream.bit;
    unsigned char const* const entry = find(table.entry, table.width, word);
    unsigned int bits = stream.bit;
    if (stream.toEnd - stream.to >= 2) {
      std::memcpy(stream.to, entry, 2);
      stream.to += entry[countAt];
      bits += entry[bitsAt];
    } else {
      *stream.to++ = *entry;
      bits += table.code.length[*entry];
    }
    if (static_cast<int>(bits / 8) > end - stream.from) return false;
    stream.from += bits / 8;
    stream.bit = bits % 8;
  }
  if (stream.bit == 0) return stream.from == stream.end;
  return stream.end - stream.from == 1 && (*stream.from << stream.bit & 0xFF) == 0;
}

// Streams are read up to the `end` of all; where each one stopped is checked at last.
bool readStreams(tStream (&streams)[streamCount], tTable const& table, unsigned char const* end) {
  unsigned int const width = table.width;
  for (;;) {
    tStream* active[streamCount];
    unsigned int count = 0, steps = ~0U;
    for (tStream& stream : streams) {
      unsigned int const safe = safeSteps(stream, end);
      if (safe == 0) continue;
      steps = std::min(steps, safe);
      active[count++] = &stream;
    }
    if (count == 0) break;
    for (; steps != 0; --steps) {
      for (unsigned int i = 0; i < count; ++i) step(*active[i], table.entry, width);
    }
  }
  return std::all_of(streams, streams + streamCount,
                     [&](tStream& stream) { return finish(stream, table, end); });
}

// Reads the sizes of a piece's streams and where they lie, and moves `from` behind them. What they
// give goes to `to`.
bool findStreams(unsigned char const*& from, unsigned char const* end, bool isLast,
                 unsigned char* to, unsigned int size, tStream (&streams)[streamCount]) {
  unsigned int sizes[streamCount];
  for (unsigned int j = 0; j < streamCount - isLast; ++j) {
    if (!varint::read(from, end, sizes[j])) return false;
  }
  for (unsigned int j = 0; j < streamCount; ++j) {
    auto const left = static_cast<unsigned int>(end - from);
    if (j + 1 == streamCount && isLast) sizes[j] = left;
    if (sizes[j] > left) return false;
    unsigned int const count = symbolsOfStream(size, j);
    streams[j] = {from, from + sizes[j], 0, to, to + count};
    from += sizes[j];
    to += count;
  }
  return true;
}

// Whether a stream's bytes are as many as its codes may take; if all have the same length, it is
// then right.
bool fits(tStream const& stream, tCode const& code) {
  auto const bits = 8ULL * static_cast<unsigned int>(stream.end - stream.from);
  auto const count = static_cast<unsigned int>(stream.toEnd - stream.to);
  return bits >= count * code.shortest() && bits <= count * code.longest + 7;
}

// Reads the piece at `from`, which gives `size` bytes to `to`, and moves `from` behind it.
bool readPiece(unsigned char const*& from, unsigned char const* end, bool isLast, unsigned char* to,
               unsigned int size) {
  tCode code;
  tStream streams[streamCount];
  if (!readLengths(from, end, code)) return false;
  if (!findStreams(from, end, isLast, to, size, streams)) return false;
  for (tStream const& stream : streams) {
    if (!fits(stream, code)) return false;
  }
  if (code.longest == 0) {
    std::memset(to, code.inOrder.symbol[0], size);
    return true;
  }
  if (code.isIdentity()) {
    std::memcpy(to, streams[0].from, size);
    return true;
  }
  // A wider table takes longer to make and reads two bytes at once more often.
  constexpr unsigned int small = 4096;
  return readStreams(streams, tTable(code, size < small ? code.longest : maxLength), end);
}

}  // namespace
}  // namespace huffman

tBlob tCompression::decodeHuffman(tBlob const& encoded) {
  using namespace huffman;
  tBlob content;
  unsigned char const* from = encoded.data();
  unsigned char const* const end = from + encoded.size();
  unsigned int left;
  if (!varint::read(from, end, left) || left == 0 || left > maxDecodedSize()) return content;
  // A piece takes a byte of code lengths and its sizes at least.
  if (end - from < static_cast<int>(pieceCount(left) * (1 + streamCount) - 1)) return content;
  unsigned char* to = content.extend(left);
  if (to == nullptr) return content;
  while (left != 0) {
    unsigned int const size = std::min(left, pieceSize);
    left -= size;
    if (!readPiece(from, end, left == 0, to, size)) {
      content.release();
      return content;
    }
    to += size;
  }
  return content;
}
