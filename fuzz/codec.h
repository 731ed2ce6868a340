#pragma once

#include <initializer_list>

#include "fuzz.h"
#include "nkSupport/tCompression.h"

/// What both compressions promise, in the words of tCompression.
struct tCodec {
  tBlob (*encode)(tBlob const&);
  tBlob (*decode)(tBlob const&);
  unsigned long long (*encodedSize)(tBlob const&);
};

inline void checkCodec(tCodec const& codec, unsigned char const* data, std::size_t size) {
  using fuzz::require;
  // Low enough for inputs to ask for more, high enough for content of several pieces.
  constexpr unsigned int ceiling = 1 << 16;
  tCompression::setMaxDecodedSize(ceiling);
  tBlob const input(data, static_cast<unsigned int>(size));
  // As something to decode ...
  tBlob const decoded = codec.decode(input);
  require(decoded.size() <= ceiling, "a decoder keeps below the ceiling");
  // ... and as something to encode, several times over.
  tBlob content(input);
  for (unsigned int i = size != 0 ? data[0] % 16 : 0; i != 0; --i) content.append(input);
  for (tBlob const& plain : {decoded, content}) {
    tBlob const encoded = codec.encode(plain);
    require(encoded.size() == codec.encodedSize(plain), "the size foretold is the size");
    require(encoded.empty() == plain.empty(), "only nothing becomes nothing");
    tBlob const back = codec.decode(encoded);
    require(plain.size() > ceiling ? back.empty() : back == plain, "what was encoded comes back");
    unsigned long long const rle = tCompression::encodeRLE(plain).size();
    unsigned long long const huffman = tCompression::encodeHuffman(plain).size();
    auto const shortest = rle <= huffman ? tCompression::CHOICE_RLE : tCompression::CHOICE_HUFFMAN;
    bool const pays = (rle <= huffman ? rle : huffman) < plain.size();
    require(tCompression::chooseShortest(plain) == (pays ? shortest : tCompression::CHOICE_NONE),
            "the shortest form is chosen");
  }
}
