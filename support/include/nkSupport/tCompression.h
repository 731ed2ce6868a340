#pragma once

#include "nkSupport/export.h"
#include "nkSupport/tBlob.h"

/// The two compressions of telegram content. Both forms are described byte by byte, with test
/// vectors, in docs/wire-format.md.
///
/// Encoders give an empty blob for empty content and when memory runs out. Decoders take hostile
/// input: they hold the declared size against maxDecodedSize() before they allocate, and give an
/// empty blob for anything that is not an encoding. All functions may be called from any thread.
class NK_SUPPORT_API tCompression {
 public:
  /// The encoded form of `content`; it may be larger than the content. See chooseShortest().
  static tBlob encodeRLE(tBlob const& content);
  static tBlob encodeHuffman(tBlob const& content);
  /// The content whose encoded form `encoded` is; empty if it is none or larger than
  /// maxDecodedSize().
  static tBlob decodeRLE(tBlob const& encoded);
  static tBlob decodeHuffman(tBlob const& encoded);

  /// What encodeRLE(content).size() or encodeHuffman(content).size() would be, found without
  /// encoding. 64 bits: the encoded form of content near the limit of tBlob may not fit into one.
  static unsigned long long encodedSizeRLE(tBlob const& content);
  static unsigned long long encodedSizeHuffman(tBlob const& content);

  /// Which form is shorter than the content, and the shortest: RLE on a tie between the two.
  enum teChoice { CHOICE_NONE, CHOICE_RLE, CHOICE_HUFFMAN };
  /// The choice that comparing the sizes of content, encodeRLE(content) and encodeHuffman(content)
  /// would give, exactly, without encoding the losers.
  static teChoice chooseShortest(tBlob const& content);

  /// The most bytes that a decoder gives; 64 MiB until changed. Holds for the whole process and may
  /// be set at any time.
  static unsigned int maxDecodedSize();
  static void setMaxDecodedSize(unsigned int bytes);
};
