#include "fuzz.h"
#include "support/base128Ways.h"

namespace {

using fuzz::require;
// Of the exact size, so that the address sanitizer sees each byte beyond.
using tBytes = std::vector<unsigned char>;

tBytes encoded(tBase128Way const& way, tBytes const& plain) {
  auto const length = static_cast<unsigned int>(plain.size());
  tBytes code(base128::encodedSize(length));
  way.encode(code.data(), plain.data(), length);
  return code;
}

bool decodes(tBase128Way const& way, tBytes const& code, tBytes& plain) {
  auto const length = static_cast<unsigned int>(code.size());
  plain.assign(base128::decodedSize(length), 0);
  return way.decode(plain.data(), code.data(), length);
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static auto const ways = base128Ways();
  tBytes const input(data, data + size);
  // The input with all high bits set gets past the first check of a decoder.
  tBytes high(input);
  for (auto& byte : high) byte |= 0x80;
  tBytes const code = encoded(ways[0], input);
  for (auto const& way : ways) {
    require(encoded(way, input) == code, "all ways encode alike");
    tBytes plain, other;
    require(decodes(way, code, plain) && plain == input, "what was encoded comes back");
    for (tBytes const& hostile : {input, high}) {
      bool const valid = decodes(way, hostile, plain);
      require(valid == decodes(ways[0], hostile, other), "all ways accept the same");
      if (valid) require(encoded(way, plain) == hostile, "bytes have one encoding");
    }
  }
  for (unsigned char const byte : code) require(byte >= 0x80, "codes keep clear of the bounds");
  return 0;
}
