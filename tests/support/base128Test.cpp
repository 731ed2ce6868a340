#include "nkSupport/base128.h"

#include <gtest/gtest.h>

#include <algorithm>
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
  /// Decodes from and to memory that ends at a fence.
  bool decodes(tBytes const& code) {
    unsigned int const size = base128::decodedSize(sizeOf(code));
    unsigned char* const src = m_src.back(sizeOf(code));
    std::copy(code.begin(), code.end(), src);
    return GetParam().decode(m_dst.back(size), src, sizeOf(code));
  }

  tFenced m_src{4096}, m_dst{4096};
};

INSTANTIATE_TEST_SUITE_P(Ways, Base128, testing::ValuesIn(base128Ways()),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(Base128Size, OfBothDirections) {
  struct {
    unsigned int plain, code;
  } const rows[] = {{0, 0}, {1, 2}, {6, 7}, {7, 8}, {8, 10}, {90, 103}, {0x70000000, 0x80000000}};
  for (auto const& row : rows) {
    EXPECT_EQ(base128::encodedSize(row.plain), row.code);
    EXPECT_EQ(base128::decodedSize(row.code), row.plain);
  }
}

TEST_P(Base128, Vectors) {
  struct {
    tBytes plain, code;
  } const rows[] = {
      {{}, {}},
      {{0x00}, {0x80, 0x80}},
      {{0xff}, {0xff, 0x81}},
      {{0x01, 0x02}, {0x81, 0x84, 0x80}},
      {{'1', '2', '3', '4', '5', '6', '7'}, {0xb1, 0xe4, 0xcc, 0xa1, 0xd3, 0xc6, 0xcd, 0x9b}},
      {{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef},
       {0x81, 0xc6, 0x94, 0xba, 0x96, 0xf1, 0xea, 0xe6, 0xef, 0x81}},
  };
  for (auto const& row : rows) {
    tBytes code(row.code.size()), plain(row.plain.size());
    GetParam().encode(code.data(), row.plain.data(), sizeOf(row.plain));
    EXPECT_EQ(code, row.code);
    EXPECT_TRUE(GetParam().decode(plain.data(), row.code.data(), sizeOf(row.code)));
    EXPECT_EQ(plain, row.plain);
  }
}

TEST_P(Base128, EveryLengthAndAlignmentAgreesWithTheDefinitionAndStaysInRange) {
  for (unsigned int length = 0; length <= 300; ++length) {
    tBytes const plain = randomBytes(length), code = reference(plain);
    unsigned int const codeLength = sizeOf(code);
    ASSERT_EQ(base128::encodedSize(length), codeLength);
    // At gap 0 the source, at gap 15 the destination ends at the fence.
    for (unsigned int gap = 0; gap < 16; ++gap) {
      m_src.clear();
      m_dst.clear();
      unsigned char* src = std::copy(plain.begin(), plain.end(), m_src.back(length, gap)) - length;
      unsigned char* dst = m_dst.back(codeLength, 15 - gap);
      GetParam().encode(dst, src, length);
      ASSERT_EQ(tBytes(dst, dst + codeLength), code) << length << " " << gap;
      ASSERT_TRUE(m_dst.cleanAround(dst, codeLength)) << length << " " << gap;

      m_src.clear();
      m_dst.clear();
      src = std::copy(code.begin(), code.end(), m_src.back(codeLength, gap)) - codeLength;
      dst = m_dst.back(length, 15 - gap);
      ASSERT_TRUE(GetParam().decode(dst, src, codeLength)) << length << " " << gap;
      ASSERT_EQ(tBytes(dst, dst + length), plain) << length << " " << gap;
      ASSERT_TRUE(m_dst.cleanAround(dst, length)) << length << " " << gap;
    }
  }
}

TEST_P(Base128, RefusesAByteWithoutHighBitAtEveryPosition) {
  for (unsigned int length = 1; length <= 150; ++length) {
    tBytes code = reference(randomBytes(length));
    for (auto& byte : code) {
      byte ^= 0x80;
      ASSERT_FALSE(decodes(code)) << length << " " << &byte - code.data();
      byte ^= 0x80;
    }
    ASSERT_TRUE(decodes(code)) << length;
  }
}

TEST_P(Base128, RefusesPaddingThatIsNotZero) {
  for (unsigned int length = 1; length <= 150; ++length) {
    tBytes code = reference(randomBytes(length));
    for (unsigned int bit = 7 * sizeOf(code) - 1; bit >= 8 * length; --bit) {
      auto const mask = static_cast<unsigned char>(1U << bit % 7);
      code.back() ^= mask;
      ASSERT_FALSE(decodes(code)) << length << " " << bit;
      code.back() ^= mask;
    }
  }
}

TEST_P(Base128, RefusesLengthsThatNoEncodingHas) {
  for (unsigned int length = 0; length <= 343; ++length) {
    EXPECT_EQ(decodes(tBytes(length, 0x80)), length % 8 != 1) << length;
  }
}

}  // namespace
