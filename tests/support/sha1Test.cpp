#include "nkSupport/SHA1.h"

#include <gtest/gtest.h>

#include <string>

#include "harness/hex.h"

namespace {

// Vectors of FIPS 180 and RFC 3174.
TEST(SHA1, givesTheStandardsDigestsForAnyPieces) {
  std::string digits;
  for (int i = 0; i < 80; ++i) digits += "01234567";
  struct {
    std::string text;
    char const* digest;
  } const rows[] = {
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {digits, "dea356a2cddd90c7a7ecedc5ebb563934f460452"},
      {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  for (auto const& row : rows) {
    for (unsigned int const piece : {1U, 3U, 63U, 64U, 65U, 1000000U}) {
      SHA1 hash;
      for (std::size_t at = 0; at < row.text.size(); at += piece) {
        tBlob const part = harness::bytes(row.text.substr(at, piece));
        hash.Input(part.data(), part.size());
      }
      hash.Input(nullptr, 0);
      EXPECT_EQ(hash.Result(), row.digest) << piece;
    }
  }
}

TEST(SHA1, goesOnAfterAResultAndInACopy) {
  unsigned char const text[] = {'a', 'b', 'c'};
  SHA1 hash;
  hash.Input(text, 1);
  EXPECT_EQ(hash.Result(), "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8");
  EXPECT_EQ(hash.Result(), hash.Result());
  SHA1 copy(hash);
  hash.Input(text + 1, 2);
  EXPECT_EQ(hash.Result(), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(copy.Result(), "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8");
}

}  // namespace
