#include "nkSupport/base128.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/base128Ways.h"
#include "support/fenced.h"
#include "support/randomBytes.h"

namespace {

using tBytes = std::vector<unsigned char>;

unsigned int sizeOf(tBytes const& bytes) { return static_cast<unsigned int>(bytes.size()); }

/// The definition: one bit at a time.
tBytes reference(tBytes const& bytes) {
  tBytes code((8 * bytes.size() + 6) / 7, 0x80);
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    unsigned int const source = bytes[bit / 8], target = code[bit / 7];
    code[bit / 7] = static_cast<unsigned char>(target | (source >> bit % 8 & 1U) << bit % 7);
  }
  return code;
}

class Base128 : public testing::TestWithParam<tBase128Way> {
 protected:
  using tRun = std::function<bool(unsigned char*, unsigned char const*, unsigned int)>;

  /// What `run` makes of bytes between fences, into memory between fences; nothing if it refuses.
  /// Either both ranges begin at the lower fence or both end at the upper one.
  tBytes run(tRun const& run, tBytes const& from, unsigned int size, bool atEnd) {
    unsigned char* const src = m_src.at(atEnd, sizeOf(from));
    unsigned char* const dst = m_dst.at(atEnd, size);
    std::copy(from.begin(), from.end(), src);
    return run(dst, src, sizeOf(from)) ? tBytes(dst, dst + size) : tBytes();
  }
  bool decodes(tBytes const& code) {
    unsigned int const size = base128::decodedSize(sizeOf(code));
    return GetParam().decode(m_dst.at(true, size), code.data(), sizeOf(code));
  }

  tFenced m_src{4096}, m_dst{4096};
};

INSTANTIATE_TEST_SUITE_P(Ways, Base128, testing::ValuesIn(base128Ways()),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(Base128Size, OfBothDirections) {
  EXPECT_EQ(reference({'1', '2', '3', '4', '5', '6', '7', '8', '9'}),
            (tBytes{0xb1, 0xe4, 0xcc, 0xa1, 0xd3, 0xc6, 0xcd, 0x9b, 0xb8, 0xf2, 0x80}));
  for (auto const& [plain, code] : {std::pair{0U, 0U}, {1, 2}, {7, 8}, {0x70000000, 0x80000000}}) {
    EXPECT_EQ(base128::encodedSize(plain), code);
    EXPECT_EQ(base128::decodedSize(code), plain);
  }
}

TEST_P(Base128, EveryLengthAgreesWithTheDefinitionAndStaysInRange) {
  auto const encode = [](unsigned char* dst, unsigned char const* src, unsigned int length) {
    GetParam().encode(dst, src, length);
    return true;
  };
  for (unsigned int length = 0; length <= 300; ++length) {
    tBytes const plain = randomBytes(length), code = reference(plain);
    ASSERT_EQ(base128::encodedSize(length), sizeOf(code));
    for (bool const atEnd : {false, true}) {
      ASSERT_EQ(run(encode, plain, sizeOf(code), atEnd), code) << length << atEnd;
      ASSERT_EQ(run(GetParam().decode, code, length, atEnd), plain) << length << atEnd;
    }
  }
}

TEST_P(Base128, RefusesEveryBitThatCannotBe) {
  for (unsigned int length = 1; length <= 150; ++length) {
    tBytes code = reference(randomBytes(length));
    for (unsigned int bit = 0; bit < 8 * sizeOf(code); ++bit) {
      bool const isPadding = bit / 8 == sizeOf(code) - 1 && bit / 8 * 7 + bit % 8 >= 8 * length;
      if (bit % 8 != 7 && !isPadding) continue;
      auto const mask = static_cast<unsigned char>(1U << bit % 8);
      code[bit / 8] ^= mask;
      ASSERT_FALSE(decodes(code)) << length << " " << bit;
      code[bit / 8] ^= mask;
    }
    ASSERT_TRUE(decodes(code)) << length;
  }
}

TEST_P(Base128, RefusesLengthsThatNoEncodingHas) {
  for (unsigned int length = 0; length <= 343; ++length) {
    EXPECT_EQ(decodes(tBytes(length, 0x80)), length % 8 != 1) << length;
  }
}

}  // namespace
