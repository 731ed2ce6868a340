#include "nkSupport/tCompression.h"

#include <algorithm>
#include <atomic>

#include "huffman.h"

namespace {
std::atomic<unsigned int> decodedLimit{64U << 20};
}  // namespace

unsigned int tCompression::maxDecodedSize() { return decodedLimit.load(std::memory_order_relaxed); }

void tCompression::setMaxDecodedSize(unsigned int bytes) {
  decodedLimit.store(bytes, std::memory_order_relaxed);
}

tCompression::teChoice tCompression::chooseShortest(tBlob const& content) {
  // RLE first: it costs a fraction of the other, and what it reaches often settles the choice.
  unsigned long long const rle = encodedSizeRLE(content);
  if (huffman::isShorter(content, std::min<unsigned long long>(rle, content.size()))) {
    return CHOICE_HUFFMAN;
  }
  return rle < content.size() ? CHOICE_RLE : CHOICE_NONE;
}
