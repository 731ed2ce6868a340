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

// What the next bits of a stream stand for: one byte or two.
struct tEntry {
  unsigned char symbol[2];
  unsigned char bits;   // of all symbols
  unsigned char count;  // of symbols
};

struct tTable {
  // `tableWidth`: how many bits are looked at together, no fewer than the longest code.
  tTable(tCode const& tableCode, unsigned int tableWidth);
  tEntry const& entryOf(tWord word) const { return entry[word >> (words::bits - width)]; }

  tCode const& code;
  unsigned int const width;
  tEntry entry[1U << maxLength];
};

tTable::tTable(tCode const& tableCode, unsigned int tableWidth)
    : code(tableCode), width(tableWidth) {
  // Entries as numbers, to be joined by a sum: what the first byte gives, and the second.
  auto const number = [](tEntry part) { return std::bit_cast<std::uint32_t>(part); };
  std::uint32_t second[1U << maxLength];  // by the bits behind the first byte
  unsigned int upTo[maxLength + 1] = {};  // shorter codes come first: where those of a length end
  unsigned int end = 0;
  for (unsigned int i = 0; i < code.inOrder.count; ++i) {
    unsigned char const symbol = code.inOrder.symbol[i], length = code.length[symbol];
    unsigned int const count = 1U << (tableWidth - length);
    std::fill_n(second + end, count, number({{0, symbol}, length, 1}));
    end += count;
    upTo[length] = end;
  }
  for (unsigned int i = 1; i <= maxLength; ++i) upTo[i] = std::max(upTo[i], upTo[i - 1]);
  tEntry* to = entry;
  for (unsigned int i = 0; i < code.inOrder.count; ++i) {
    unsigned char const symbol = code.inOrder.symbol[i], length = code.length[symbol];
    std::uint32_t const first = number({{symbol, 0}, length, 1});
    unsigned int const endOfTwo = upTo[tableWidth - length] >> length;
    unsigned int const count = 1U << (tableWidth - length);
    for (unsigned int rest = 0; rest < endOfTwo; ++rest) {
      to[rest] = std::bit_cast<tEntry>(first + second[rest << length]);
    }
    std::fill(to + endOfTwo, to + count, std::bit_cast<tEntry>(first));
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
    tEntry const& entry = entries[word >> (words::bits - width)];
    std::memcpy(to, entry.symbol, 2);
    to += entry.count;
    word <<= entry.bits;
    bits += entry.bits;
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
    tEntry const& entry = table.entryOf(loadBigUpTo(stream.from, end) << stream.bit);
    unsigned int bits = stream.bit;
    if (stream.toEnd - stream.to >= 2) {
      std::memcpy(stream.to, entry.symbol, 2);
      stream.to += entry.count;
      bits += entry.bits;
    } else {
      *stream.to++ = entry.symbol[0];
      bits += table.code.length[entry.symbol[0]];
    }
    if (static_cast<int>(bits / 8) > end - stream.from) return false;
    stream.from += bits / 8;
    stream.bit = bits % 8;
  }
  if (stream.bit == 0) return stream.from == stream.end;
  return stream.end - stream.from == 1 && (*stream.from << stream.bit & 0xFF) == 0;
}

// Streams are read up to the end of all of them; where one stopped is checked at the end.
bool decode(tStream (&streams)[streamCount], tTable const& table) {
  unsigned char const* const end = streams[streamCount - 1].end;
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

struct tParts {
  unsigned int size;
  tCode code;
  unsigned char const* stream[streamCount + 1];  // where each begins, and where the last one ends
};

bool readParts(tBlob const& encoded, tParts& parts) {
  unsigned char const* from = encoded.data();
  unsigned char const* const end = from + encoded.size();
  if (!varint::read(from, end, parts.size) || parts.size == 0) return false;
  if (!readLengths(from, end, parts.code)) return false;
  unsigned int sizes[streamCount - 1];
  for (unsigned int& size : sizes) {
    if (!varint::read(from, end, size)) return false;
  }
  for (unsigned int j = 0; j < streamCount; ++j) {
    parts.stream[j] = from;
    if (j + 1 == streamCount) break;
    if (sizes[j] > static_cast<unsigned int>(end - from)) return false;
    from += sizes[j];
  }
  parts.stream[streamCount] = end;
  // Sizes that no content has are refused before memory is asked for.
  unsigned int const shortest = parts.code.shortest();
  for (unsigned int j = 0; j < streamCount; ++j) {
    auto const bits = 8ULL * static_cast<unsigned int>(parts.stream[j + 1] - parts.stream[j]);
    unsigned long long const count = symbolsOfStream(parts.size, j);
    if (bits < count * shortest || bits > count * parts.code.longest + 7) return false;
  }
  return true;
}

bool fill(unsigned char* to, tParts const& parts) {
  if (parts.code.longest == 0) {
    std::memset(to, parts.code.inOrder.symbol[0], parts.size);
    return true;
  }
  if (parts.code.isIdentity()) {
    std::memcpy(to, parts.stream[0], parts.size);
    return true;
  }
  // A wider table takes longer to make and reads two bytes at once more often.
  bool const small = parts.size < 4096;
  tTable const table(parts.code, small ? parts.code.longest : maxLength);
  tStream streams[streamCount];
  for (unsigned int j = 0; j < streamCount; ++j) {
    unsigned int const count = symbolsOfStream(parts.size, j);
    streams[j] = {parts.stream[j], parts.stream[j + 1], 0, to, to + count};
    to += count;
  }
  return decode(streams, table);
}

}  // namespace
}  // namespace huffman

tBlob tCompression::decodeHuffman(tBlob const& encoded) {
  tBlob content;
  huffman::tParts parts;
  if (!huffman::readParts(encoded, parts) || parts.size > maxDecodedSize()) return content;
  unsigned char* const to = content.extend(parts.size);
  if (to == nullptr || !huffman::fill(to, parts)) content.release();
  return content;
}
