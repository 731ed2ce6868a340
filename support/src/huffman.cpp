#include "huffman.h"

#include <algorithm>
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

struct tPiece {
  unsigned char const* bytes;
  unsigned int size;
  bool isLast;
};

// Calls use(piece) for all pieces in order until it returns false.
template <class tUse>
void forEachPiece(tBlob const& content, tUse use) {
  unsigned int left = content.size();
  for (unsigned char const* bytes = content.data(); left != 0;) {
    unsigned int const size = std::min(left, pieceSize);
    left -= size;
    if (!use(tPiece{bytes, size, left == 0})) return;
    bytes += size;
  }
}

// How often each byte occurs, in each stream and in all.
struct tCounts {
  explicit tCounts(tPiece const& piece);
  tCountOf ofStream[streamCount] = {};
  tCountOf ofAll;
  tSymbols present;  // the bytes that occur, in ascending order
};

tCounts::tCounts(tPiece const& piece) {
  // One byte of each stream in turn, into tables of their own by twos: a count that has just been
  // written takes long to come back.
  tCountOf second[streamCount] = {};
  unsigned int const quarter = piece.size / streamCount;
  unsigned char const* stream[streamCount];
  for (unsigned int i = 0; i < streamCount; ++i) stream[i] = piece.bytes + i * quarter;
  unsigned int i = 0;
  for (; i + 1 < quarter; i += 2) {
    for (unsigned int j = 0; j < streamCount; ++j) ++ofStream[j][stream[j][i]];
    for (unsigned int j = 0; j < streamCount; ++j) ++second[j][stream[j][i + 1]];
  }
  for (unsigned int j = 0; j < streamCount; ++j) {
    for (unsigned int k = i; k < symbolsOfStream(piece.size, j); ++k) ++ofStream[j][stream[j][k]];
    for (unsigned int k = 0; k < symbolCount; ++k) {
      ofStream[j][k] = static_cast<unsigned short>(ofStream[j][k] + second[j][k]);
    }
  }
  for (unsigned int k = 0; k < symbolCount; ++k) {
    ofAll[k] = static_cast<unsigned short>(ofStream[0][k] + ofStream[1][k] + ofStream[2][k] +
                                           ofStream[3][k]);
  }
  unsigned int count = 0;
  for (unsigned int k = 0; k < symbolCount; ++k) {
    present.symbol[count] = static_cast<unsigned char>(k);
    count += ofAll[k] != 0;
  }
  present.count = count;
}

constexpr unsigned int fewBytes = 256;
// count * log2(count)
constexpr std::array<unsigned int, fewBytes> timesLogOfFew = [] {
  std::array<unsigned int, fewBytes> table{};
  for (unsigned int i = 1; i < fewBytes; ++i) table[i] = i * logarithm::above(i);
  return table;
}();
inline std::uint64_t timesLog(unsigned int count) {
  return count < fewBytes ? timesLogOfFew[count] : std::uint64_t{count} * logarithm::above(count);
}

// Bits that any code takes at least for `size` bytes: their entropy, which is
// size * log2(size) minus the sum of count * log2(count).
unsigned int leastBits(unsigned int size, std::uint64_t sumOfTimesLog) {
  std::uint64_t const most = std::uint64_t{size} * logarithm::above(size);
  std::uint64_t const less = sumOfTimesLog + std::uint64_t{size} * logarithm::error;
  return most > less ? static_cast<unsigned int>((most - less) >> logarithm::fraction) : 0;
}

unsigned int leastBits(tCounts const& counts, unsigned int size) {
  std::uint64_t sumOfTimesLog = 0;
  for (unsigned int i = 0; i < counts.present.count; ++i) {
    sumOfTimesLog += timesLog(counts.ofAll[counts.present.symbol[i]]);
  }
  return leastBits(size, sumOfTimesLog);
}

// The same for fewer than 256 bytes, in a single pass, together with the code lengths.
unsigned int leastSizeOfFew(tPiece const& piece) {
  unsigned char counts[symbolCount] = {};
  std::uint64_t sumOfTimesLog = 0;
  unsigned int distinct = 0;
  for (unsigned int i = 0; i < piece.size; ++i) {
    unsigned int const count = ++counts[piece.bytes[i]];
    sumOfTimesLog += timesLogOfFew[count] - timesLogOfFew[count - 1];
    distinct += count == 1;
  }
  return (distinct + 1) / 2 + (leastBits(piece.size, sumOfTimesLog) + 7) / 8;
}

// How many sizes of streams a piece has.
constexpr unsigned int sizesOf(tPiece const& piece) {
  return piece.isLast ? streamCount - 1 : streamCount;
}

// The code of a piece and the sizes that follow from it.
struct tPlan {
  tPlan(tPiece const& piece, tCounts const& counts);
  unsigned int encodedSize(tPiece const& piece) const;

  tCode code;
  tSymbols present;  // the bytes that have a code, in ascending order
  unsigned int streamSize[streamCount];
};

tPlan::tPlan(tPiece const& piece, tCounts const& counts) {
  // What codes hardly shorten is better copied.
  if (leastBits(counts, piece.size) * 8 > piece.size * 63) {
    code = makeIdentity();
    present = code.inOrder;
  } else {
    code = makeCode(counts.ofAll, counts.present);
    present = counts.present;
  }
  for (unsigned int j = 0; j < streamCount; ++j) {
    unsigned int bits = 0;
    for (unsigned int i = 0; i < present.count; ++i) {
      unsigned int const symbol = present.symbol[i];
      bits += unsigned{counts.ofStream[j][symbol]} * code.length[symbol];
    }
    streamSize[j] = (bits + 7) / 8;
  }
}

unsigned int tPlan::encodedSize(tPiece const& piece) const {
  unsigned int sum = lengthsSize(present);
  for (unsigned int const one : streamSize) sum += one;
  for (unsigned int j = 0; j < sizesOf(piece); ++j) sum += varint::size(streamSize[j]);
  return sum;
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

unsigned char* writePiece(unsigned char* to, unsigned char const* end, tPiece const& piece) {
  tPlan const plan(piece, tCounts(piece));
  to = writeLengths(to, plan.present, plan.code);
  for (unsigned int j = 0; j < sizesOf(piece); ++j) {
    to = varint::write(to, plan.streamSize[j]);
  }
  if (plan.code.isIdentity()) {
    std::memcpy(to, piece.bytes, piece.size);
    return to + piece.size;
  }
  if (plan.code.longest == 0) return to;
  tCodeTable const table(plan.code);
  unsigned char const* bytes = piece.bytes;
  for (unsigned int j = 0; j < streamCount; ++j) {
    unsigned int const count = symbolsOfStream(piece.size, j);
    to = writeStream(to, end, bytes, count, table);
    bytes += count;
  }
  return to;
}

// The most that a piece adds to the size of its bytes: 128 bytes of code lengths, for no entry
// takes more than half a byte per byte value, four stream sizes of up to 2 bytes, and padding.
constexpr unsigned int mostAdded = symbolCount / 2 + 2 * streamCount + streamCount;

// What can be said without the counts of each stream.
bool cannotBeShorter(tBlob const& content, unsigned long long limit) {
  // A piece has a byte of code lengths at least, the sizes, and a bit per byte unless all its bytes
  // are equal.
  unsigned int const front = varint::size(content.size());
  unsigned long long least = front;
  forEachPiece(content, [&](tPiece const& piece) {
    bool const allEqual = std::memcmp(piece.bytes, piece.bytes + 1, piece.size - 1) == 0;
    least += 1 + sizesOf(piece) + (allEqual ? 0 : piece.size / 8);
    return least < limit;
  });
  if (least >= limit) return true;
  if (content.size() >= fewBytes) return false;
  tPiece const piece{content.data(), content.size(), true};
  return front + sizesOf(piece) + leastSizeOfFew(piece) >= limit;
}

}  // namespace

bool isShorter(tBlob const& content, unsigned long long limit) {
  if (cannotBeShorter(content, limit)) return false;
  unsigned int const front = varint::size(content.size());
  unsigned long long lower = front, upper = front;
  forEachPiece(content, [&](tPiece const& piece) {
    tCounts const counts(piece);
    unsigned int const least =
        lengthsSize(counts.present) + sizesOf(piece) + (leastBits(counts, piece.size) + 7) / 8;
    lower += least;
    // Codes of -log2(7/8 * count / size + 1/8 * 1/256) bits, rounded up, exist and have at most 11,
    // so the best ones take less than 1.2 bits per byte more than the entropy. The sizes may have a
    // second byte.
    upper += least + piece.size * 3 / 20 + 1 + streamCount + sizesOf(piece);
    bool const undecided = lower < limit && upper >= limit;
    if (undecided && piece.size == content.size()) {
      lower = upper = front + tPlan(piece, counts).encodedSize(piece);
    }
    return lower < limit;
  });
  if (lower >= limit || upper < limit) return lower < limit;
  return tCompression::encodedSizeHuffman(content) < limit;
}

}  // namespace huffman

unsigned long long tCompression::encodedSizeHuffman(tBlob const& content) {
  using namespace huffman;
  if (content.empty()) return 0;
  unsigned long long size = varint::size(content.size());
  forEachPiece(content, [&size](tPiece const& piece) {
    size += tPlan(piece, tCounts(piece)).encodedSize(piece);
    return true;
  });
  return size;
}

tBlob tCompression::encodeHuffman(tBlob const& content) {
  using namespace huffman;
  tBlob encoded;
  if (content.empty()) return encoded;
  unsigned long long room = 5ULL + content.size() + pieceCount(content.size()) * mostAdded;
  if (room > tBlob::maxSize) room = encodedSizeHuffman(content);
  if (room > tBlob::maxSize) return encoded;
  unsigned char* const start = encoded.extend(static_cast<unsigned int>(room));
  if (start == nullptr) return encoded;
  unsigned char* to = varint::write(start, content.size());
  forEachPiece(content, [&to, end = start + room](tPiece const& piece) {
    to = writePiece(to, end, piece);
    return true;
  });
  encoded.truncate(static_cast<unsigned int>(to - start));
  // Not to hold on to memory for nothing.
  if (encoded.size() < room / 2) return tBlob(encoded.data(), encoded.size());
  return encoded;
}
