#pragma once

#include "nkSupport/tBlob.h"

/// What encoder, decoder and choice share of the Huffman form:
///   number of bytes (varint), code lengths (see huffmanCode.h), sizes of the first three streams
///   (varints), four streams of codes, highest bit first, each padded with 0 to a whole byte.
/// The streams hold the four quarters of the content.
namespace huffman {

constexpr unsigned int streamCount = 4;
constexpr unsigned int symbolCount = 256;

/// How many bytes of `size` stand in stream number `stream`: what does not divide by four comes
/// last.
constexpr unsigned int symbolsOfStream(unsigned int size, unsigned int stream) {
  unsigned int const quarter = size / streamCount;
  return stream + 1 < streamCount ? quarter : size - (streamCount - 1) * quarter;
}

/// Whether the Huffman form of `content` has fewer bytes than `limit`; exact.
bool isShorter(tBlob const& content, unsigned long long limit);

}  // namespace huffman
