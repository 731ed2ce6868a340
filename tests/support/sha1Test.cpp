#include "nkSupport/SHA1.h"

#include <gtest/gtest.h>

#include "harness/hex.h"

namespace {

// Digests of FIPS 180; in pieces, with a look at the result in between, and in a copy.
TEST(SHA1, givesTheStandardsDigestsForAnyPieces) {
  for (auto const& [text, digest] :
       {std::pair{std::string(), "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"}}) {
    for (unsigned int const piece : {1U, 63U, 1000000U}) {
      SHA1 hash, copy;
      for (std::size_t at = 0; at < text.size(); at += piece) {
        tBlob const part = harness::bytes(text.substr(at, piece));
        hash.Input(part.data(), part.size());
        EXPECT_TRUE(at != 0 || hash.Result() == SHA1(hash).Result());
      }
      hash.Input(nullptr, 0);
      copy = hash;
      hash.Input(reinterpret_cast<unsigned char const*>("x"), 1);
      EXPECT_EQ(copy.Result(), digest) << piece;
      EXPECT_NE(hash.Result(), digest) << piece;
    }
  }
}

}  // namespace
