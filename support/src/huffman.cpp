#include "huffman.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "huffmanCode.h"
#include "logarithm.h"
#include "nkSupport/tCompression.h"
#include "varint.h"
#include "words.h"

namespace huffman {
namespace {

using words::tWord;

// How often each byte occurs, in each stream and in all.
struct tCounts {
  tCounts(unsigned char const* bytes, unsigned int size);
  unsigned int ofStream[streamCount][symbolCount] = {};
  unsigned int ofAll[symbolCount];
  tSymbols present;  // the bytes that occur, in ascending order
};

tCounts::tCounts(unsigned char const* bytes, unsigned int size) {
  // One byte of each stream in turn: equal bytes in a row wait for the sum of the one before.
  unsigned int const quarter = size / streamCount;
  unsigned char const* stream[streamCount];
  for (unsigned int i = 0; i < streamCount; ++i) stream[i] = bytes + i * quarter;
  for (unsigned int i = 0; i < quarter; ++i) {
    for (unsigned int j = 0; j < streamCount; ++j) ++ofStream[j][stream[j][i]];
  }
  for (unsigned int i = streamCount * quarter; i < size; ++i) ++ofStream[streamCount - 1][bytes[i]];
  for (unsigned int i = 0; i < symbolCount; ++i) {
    ofAll[i] = ofStream[0][i] + ofStream[1][i] + ofStream[2][i] + ofStream[3][i];
  }
  unsigned int count = 0;
  for (unsigned int i = 0; i < symbolCount; ++i) {
    present.symbol[count] = static_cast<unsigned char>(i);
    count += ofAll[i] != 0;
  }
  present.count = count;
}

// The code of a content and the sizes that follow from it.
struct tPlan {
  tPlan(tCounts const& counts, unsigned int size);
  tCode const code;
  unsigned int streamSize[streamCount];
  unsigned long long encodedSize;
};

tPlan::tPlan(tCounts const& counts, unsigned int size)
    : code(makeCode(counts.ofAll, counts.present)),
      encodedSize(varint::size(size) + lengthsSize(counts.present)) {
  for (unsigned int j = 0; j < streamCount; ++j) {
    std::uint64_t bits = 0;
    for (unsigned int i = 0; i < counts.present.count; ++i) {
      unsigned int const symbol = counts.present.symbol[i];
      bits += std::uint64_t{counts.ofStream[j][symbol]} * code.length[symbol];
    }
    streamSize[j] = static_cast<unsigned int>((bits + 7) / 8);
    encodedSize += streamSize[j];
    if (j + 1 < streamCount) encodedSize += varint::size(streamSize[j]);
  }
}

// Lower bounds follow from the entropy: no code takes fewer bits than size * log2(size) minus the
// sum of count * log2(count) over all bytes.
constexpr unsigned int fewBytes = 256;
constexpr std::array<unsigned int, fewBytes> timesLogOfFew = [] {
  std::array<unsigned int, fewBytes> table{};
  for (unsigned int i = 1; i < fewBytes; ++i) table[i] = i * logarithm::above(i);
  return table;
}();
inline std::uint64_t timesLog(unsigned int count) {
  return count < fewBytes ? timesLogOfFew[count] : std::uint64_t{count} * logarithm::above(count);
}

std::uint64_t leastSize(unsigned int size, unsigned int sizeOfLengths, std::uint64_t sumOfLogs) {
  std::uint64_t const most = std::uint64_t{size} * (logarithm::above(size) - logarithm::error);
  std::uint64_t const bits = most > sumOfLogs ? (most - sumOfLogs) >> logarithm::fraction : 0;
  return varint::size(size) + sizeOfLengths + streamCount - 1 + (bits + 7) / 8;
}

std::uint64_t leastSize(tCounts const& counts, unsigned int size) {
  std::uint64_t sumOfLogs = 0;
  for (unsigned int i = 0; i < counts.present.count; ++i) {
    sumOfLogs += timesLog(counts.ofAll[counts.present.symbol[i]]);
  }
  return leastSize(size, lengthsSize(counts.present), sumOfLogs);
}

// The same for fewer than 256 bytes, in a single pass: it settles most short contents.
std::uint64_t leastSizeOfFew(unsigned char const* bytes, unsigned int size) {
  unsigned char counts[symbolCount] = {};
  std::uint64_t sumOfLogs = 0;
  unsigned int distinct = 0;
  for (unsigned int i = 0; i < size; ++i) {
    unsigned int const count = ++counts[bytes[i]];
    sumOfLogs += timesLogOfFew[count] - timesLogOfFew[count - 1];
    distinct += count == 1;
  }
  return leastSize(size, (distinct + 1) / 2, sumOfLogs);
}

// Bits to be written: the lowest ones of a word.
struct tBits {
  tWord bits;
  unsigned int count;
};
inline tBits joined(tBits first, tBits second) {
  return {first.bits << second.count | second.bits, first.count + second.count};
}

struct tCodeTable {
  explicit tCodeTable(tCode const& code);
  tBits of(unsigned char byte) const { return {entry[byte].bits, entry[byte].count}; }
  struct {
    unsigned short bits, count;
  } entry[symbolCount];
};

tCodeTable::tCodeTable(tCode const& code) {
  unsigned int next = 0, length = code.shortest();
  for (unsigned int i = 0; i < code.inOrder.count; ++i) {
    unsigned int const symbol = code.inOrder.symbol[i];
    next <<= code.length[symbol] - length;
    length = code.length[symbol];
    entry[symbol] = {static_cast<unsigned short>(next++), code.length[symbol]};
  }
}

// With fewer than 8 bits pending, a word takes the codes of this many bytes.
constexpr unsigned int bytesPerWord = (words::bits - 7) / maxLength;

unsigned char* writeStream(unsigned char* to, unsigned char const* end, unsigned char const* bytes,
                           unsigned int count, tCodeTable const& table) {
  tBits pending{0, 0};  // what stands above the lowest `count` bits is written
  unsigned char const* const bytesEnd = bytes + count;
  while (bytesEnd - bytes >= static_cast<int>(bytesPerWord) &&
         end - to >= static_cast<int>(sizeof(tWord))) {
    // Pairs first, so that not every byte waits for the one before.
    for (unsigned int i = 0; i + 1 < bytesPerWord; i += 2) {
      pending = joined(pending, joined(table.of(bytes[i]), table.of(bytes[i + 1])));
    }
    if constexpr (bytesPerWord % 2 != 0) {
      pending = joined(pending, table.of(bytes[bytesPerWord - 1]));
    }
    words::storeBig(to, pending.bits << (words::bits - pending.count));
    to += pending.count / 8;
    pending.count %= 8;
    bytes += bytesPerWord;
  }
  for (; bytes != bytesEnd; ++bytes) {
    pending = joined(pending, table.of(*bytes));
    for (; pending.count >= 8; pending.count -= 8) {
      *to++ = static_cast<unsigned char>(pending.bits >> (pending.count - 8));
    }
  }
  if (pending.count != 0) *to++ = static_cast<unsigned char>(pending.bits << (8 - pending.count));
  return to;
}

tBlob encode(tBlob const& content) {
  tBlob blob;
  unsigned int const size = content.size();
  tCounts const counts(content.data(), size);
  tPlan const plan(counts, size);
  if (plan.encodedSize > tBlob::maxSize) return blob;
  unsigned char* to = blob.extend(static_cast<unsigned int>(plan.encodedSize));
  if (to == nullptr) return blob;
  unsigned char const* const end = to + plan.encodedSize;

  to = varint::write(to, size);
  to = writeLengths(to, counts.present, plan.code);
  for (unsigned int j = 0; j + 1 < streamCount; ++j) to = varint::write(to, plan.streamSize[j]);
  if (plan.code.isIdentity()) {
    std::memcpy(to, content.data(), size);
  } else if (plan.code.longest != 0) {
    tCodeTable const table(plan.code);
    unsigned char const* bytes = content.data();
    for (unsigned int j = 0; j < streamCount; ++j) {
      to = writeStream(to, end, bytes, symbolsOfStream(size, j), table);
      bytes += symbolsOfStream(size, j);
    }
  }
  return blob;
}

}  // namespace

bool isShorter(tBlob const& content, unsigned long long limit) {
  unsigned int const size = content.size();
  unsigned char const* const bytes = content.data();
  // Content of a single byte takes no bits, any other one at least a bit per byte.
  std::uint64_t const least = varint::size(size) + 1 + streamCount - 1;
  if (limit <= least) return false;
  if (limit <= least + size / 8) {
    if (std::memcmp(bytes, bytes + 1, size - 1) != 0) return false;
    tSymbols only{1, {bytes[0]}};
    return least - 1 + lengthsSize(only) < limit;
  }
  if (size < fewBytes && leastSizeOfFew(bytes, size) >= limit) return false;
  tCounts const counts(bytes, size);
  std::uint64_t const lower = leastSize(counts, size);
  if (lower >= limit) return false;
  // Codes of -log2(7/8 * count / size + 1/8 * 1/256) bits, rounded up, exist and have at most 11,
  // so the best ones take less than 1.2 bits per byte more than the entropy.
  std::uint64_t const upper = lower + std::uint64_t{size} * 3 / 20 + 1 + streamCount +
                              (streamCount - 1) * (varint::size(size) - 1);
  return upper < limit || tPlan(counts, size).encodedSize < limit;
}

}  // namespace huffman

tBlob tCompression::encodeHuffman(tBlob const& content) {
  return content.empty() ? tBlob() : huffman::encode(content);
}

unsigned long long tCompression::encodedSizeHuffman(tBlob const& content) {
  if (content.empty()) return 0;
  huffman::tCounts const counts(content.data(), content.size());
  return huffman::tPlan(counts, content.size()).encodedSize;
}
