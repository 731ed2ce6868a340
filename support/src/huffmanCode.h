#pragma once

#include "huffman.h"

namespace huffman {

/// The most bits of a code.
constexpr unsigned int maxLength = 11;

/// Some of the 256 bytes, each once.
struct tSymbols {
  unsigned int count = 0;
  unsigned char symbol[symbolCount];  // the first `count`
};

/// A complete prefix code over bytes. Codes are numbered by length, then by byte: the first is all
/// zeros, the next is one more, with zeros added where the length grows.
struct tCode {
  tSymbols inOrder;                        // the bytes that have a code, in the order of codes
  unsigned int longest = 0;                // bits of the longest code; 0 if there is a single byte
  unsigned char length[symbolCount] = {};  // bits; 0 also for bytes without a code

  /// Bits of the shortest code.
  unsigned int shortest() const { return length[inOrder.symbol[0]]; }
  /// Whether every byte is its own code.
  bool isIdentity() const { return inOrder.count == symbolCount && longest == 8; }
};

/// How often bytes occur in a piece.
using tCountOf = unsigned short[symbolCount];

/// The code that makes a piece of these counts shortest. `present`: the bytes whose count is not 0,
/// at least one, in ascending order.
tCode makeCode(tCountOf const& counts, tSymbols const& present);
/// The code that gives every byte as it is.
tCode makeIdentity();

/// Code lengths are written in half bytes, high half first, byte by byte from 0 until the code is
/// complete: 0..11 the length of the byte's code (0 for the only byte of a content), 12 a byte
/// without code, 13 two of them, 14 n: n + 3, 15 n m: 16 n + m + 19. A half left over is 0.
///
/// How many bytes they take if the bytes `present`, in ascending order, have codes.
unsigned int lengthsSize(tSymbols const& present);
/// Writes the lengths of the bytes `present` and returns the place behind.
unsigned char* writeLengths(unsigned char* to, tSymbols const& present, tCode const& code);
/// Reads them and moves `from` behind. False if they make no complete code.
bool readLengths(unsigned char const*& from, unsigned char const* end, tCode& code);

}  // namespace huffman
