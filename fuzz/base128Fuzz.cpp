#include "nkSupport/base128.h"

#include <vector>

#include "fuzz.h"
// The ways themselves: the library chooses one of them by length and processor.
#include "../support/src/base128Vector.h"
#ifdef __x86_64__
#include "../support/src/base128Avx2.h"
#endif

namespace {

using fuzz::require;
// Of the exact size, so that the address sanitizer sees each byte beyond.
using tBytes = std::vector<unsigned char>;

struct tWay {
  void (*encode)(unsigned char*, unsigned char const*, unsigned int);
  bool (*decode)(unsigned char*, unsigned char const*, unsigned int);

  tBytes encoded(tBytes const& plain) const {
    auto const length = static_cast<unsigned int>(plain.size());
    tBytes code(base128::encodedSize(length));
    encode(code.data(), plain.data(), length);
    return code;
  }
  bool decoded(tBytes const& code, tBytes& plain) const {
    auto const length = static_cast<unsigned int>(code.size());
    plain.assign(base128::decodedSize(length), 0);
    return decode(plain.data(), code.data(), length);
  }
};

std::vector<tWay> ways() {
  std::vector<tWay> all{{base128::encode, base128::decode},
                        {base128::encodeGeneric, base128::decodeGeneric},
                        {base128::encodeVector, base128::decodeVector}};
#ifdef __x86_64__
  if (__builtin_cpu_supports("avx2")) all.push_back({base128::encodeAvx2, base128::decodeAvx2});
#endif
  return all;
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static std::vector<tWay> const all = ways();
  tBytes const input(data, data + size);
  // The input with all high bits set gets past the first check of a decoder.
  tBytes high(input);
  for (auto& byte : high) byte |= 0x80;
  tBytes const code = all[0].encoded(input);
  for (tWay const& way : all) {
    require(way.encoded(input) == code, "all ways encode alike");
    tBytes back;
    require(way.decoded(code, back) && back == input, "what was encoded comes back");
    for (tBytes const& hostile : {input, high}) {
      tBytes plain, reference;
      bool const valid = way.decoded(hostile, plain);
      require(valid == all[0].decoded(hostile, reference), "all ways accept the same");
      if (valid) require(way.encoded(plain) == hostile, "an encoding is the only one of its bytes");
    }
  }
  for (unsigned char const byte : code) require(byte >= 0x80, "codes keep clear of the bounds");
  return 0;
}
