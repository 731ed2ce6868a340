#pragma once

#include <algorithm>

#include "nkSupport/tBlob.h"

/// What encoder, decoder and choice share of the Huffman form:
///   number of bytes of the content (varint), then for each piece of the content:
///   code lengths (see huffmanCode.h), sizes of the four streams (varints; the last piece's last
///   stream, which reaches to the end, has none), four streams of codes.
/// A piece has 16384 bytes, the last one what is left; so codes follow a content that changes. The
/// streams hold the quarters of their piece, the highest bit of a code first, and are padded with 0
/// to whole bytes.
namespace huffman {

constexpr unsigned int pieceSize = 1U << 14;
constexpr unsigned int streamCount = 4;
constexpr unsigned int symbolCount = 256;

constexpr unsigned int pieceCount(unsigned int size) {
  return size / pieceSize + (size % pieceSize != 0);
}

/// How many bytes of a piece of `size` stand in stream number `stream`: what does not divide by
/// four comes last.
constexpr unsigned int symbolsOfStream(unsigned int size, unsigned int stream) {
  unsigned int const quarter = size / streamCount;
  return stream + 1 < streamCount ? quarter : size - (streamCount - 1) * quarter;
}

/// Whether the Huffman form of `content` has fewer bytes than `limit`; exact.
bool isShorter(tBlob const& content, unsigned long long limit);

}  // namespace huffman
