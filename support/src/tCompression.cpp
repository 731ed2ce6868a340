#include "nkSupport/tCompression.h"

#include <atomic>

// The two codings are not built yet: nothing is ever found worth compressing, and nothing decodes.
namespace {
std::atomic<unsigned int> ceiling{64 << 20};
}
tBlob tCompression::encodeRLE(tBlob const&) { return {}; }
tBlob tCompression::encodeHuffman(tBlob const&) { return {}; }
tBlob tCompression::decodeRLE(tBlob const&) { return {}; }
tBlob tCompression::decodeHuffman(tBlob const&) { return {}; }
tCompression::teChoice tCompression::chooseShortest(tBlob const&) { return CHOICE_NONE; }
unsigned int tCompression::maxDecodedSize() { return ceiling; }
void tCompression::setMaxDecodedSize(unsigned int bytes) { ceiling = bytes; }
