// SHA-1 text of small and large content, against the hash that it rests on, called directly.

#include <nettle/base16.h>
#include <nettle/sha1.h>

#include <string>
#include <vector>

#include "bench/compare.h"
#include "nkSupport/SHA1.h"

namespace {

void ours(benchmark::State& state, std::vector<unsigned char> const& bytes) {
  for (auto const turn : state) {
    (void)turn;
    SHA1 hash;
    hash.Input(bytes.data(), static_cast<unsigned int>(bytes.size()));
    benchmark::DoNotOptimize(hash.Result());
  }
}

void theirs(benchmark::State& state, std::vector<unsigned char> const& bytes) {
  for (auto const turn : state) {
    (void)turn;
    sha1_ctx context;
    unsigned char digest[SHA1_DIGEST_SIZE];
    sha1_init(&context);
    sha1_update(&context, bytes.size(), bytes.data());
    sha1_digest(&context, sizeof digest, digest);
    char text[BASE16_ENCODE_LENGTH(SHA1_DIGEST_SIZE)];
    base16_encode_update(text, sizeof digest, digest);
    benchmark::DoNotOptimize(text);
  }
}

void rows() {
  for (unsigned int const size : {64U, 1U << 20}) {
    std::vector<unsigned char> const bytes(size, 0x5A);
    bench::atLeast(
        "SHA-1 text of " + std::to_string(size) + " bytes", 0.9,
        [bytes](benchmark::State& state) { ours(state, bytes); },
        [bytes](benchmark::State& state) { theirs(state, bytes); });
  }
}

bench::tRegister const reg(rows);

}  // namespace
