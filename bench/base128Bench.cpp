#include <openssl/evp.h>

#include <string>
#include <vector>

#include "bench/compare.h"
#include "nkSupport/base128.h"
#include "support/randomBytes.h"

// Base-128 against OpenSSL's base64, which solves the same task with 6 bits per byte.
namespace {

using tBytes = std::vector<unsigned char>;

bench::tWork encode(unsigned int size) {
  return [size](benchmark::State& state) {
    tBytes const plain = randomBytes(size);
    tBytes code(base128::encodedSize(size));
    for (auto _ : state) {
      base128::encode(code.data(), plain.data(), size);
      benchmark::ClobberMemory();
    }
  };
}

bench::tWork encodeBase64(unsigned int size) {
  return [size](benchmark::State& state) {
    tBytes const plain = randomBytes(size);
    tBytes code(size / 3 * 4 + 5);
    for (auto _ : state) {
      EVP_EncodeBlock(code.data(), plain.data(), static_cast<int>(size));
      benchmark::ClobberMemory();
    }
  };
}

bench::tWork decode(unsigned int size) {
  return [size](benchmark::State& state) {
    tBytes const original = randomBytes(size);
    tBytes code(base128::encodedSize(size)), plain(size);
    base128::encode(code.data(), original.data(), size);
    bool good = true;
    for (auto _ : state) {
      good = base128::decode(plain.data(), code.data(), static_cast<unsigned int>(code.size())) &&
             good;
      benchmark::ClobberMemory();
    }
    if (!good || plain != original) state.SkipWithError("base-128 does not come back");
  };
}

bench::tWork decodeBase64(unsigned int size) {
  return [size](benchmark::State& state) {
    tBytes const original = randomBytes(size);
    tBytes code(size / 3 * 4 + 5), plain(size + 2);
    int const length = EVP_EncodeBlock(code.data(), original.data(), static_cast<int>(size));
    for (auto _ : state) {
      benchmark::DoNotOptimize(EVP_DecodeBlock(plain.data(), code.data(), length));
      benchmark::ClobberMemory();
    }
    plain.resize(size);
    if (plain != original) state.SkipWithError("base64 does not come back");
  };
}

void rows() {
  for (unsigned int const size : {26U, 90U}) {
    std::string const bytes = std::to_string(size) + " bytes: base-128, base64 of OpenSSL";
    bench::tell("encode " + bytes, encode(size), encodeBase64(size));
    bench::tell("decode " + bytes, decode(size), decodeBase64(size));
  }
  for (unsigned int const size : {1U << 10, 1U << 20}) {
    std::string const bytes = std::to_string(size) + " bytes: base-128, base64 of OpenSSL";
    bench::atLeast("encode " + bytes, 4, encode(size), encodeBase64(size));
    bench::atLeast("decode " + bytes, 5, decode(size), decodeBase64(size));
  }
}
bench::tRegister const reg(rows);

}  // namespace
