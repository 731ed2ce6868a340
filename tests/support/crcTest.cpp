#include "nkSupport/crc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/fenced.h"
#include "support/randomBytes.h"

namespace {

/// The definition: one bit at a time.
unsigned char reference(unsigned char const* bytes, unsigned int length) {
  unsigned int crc = 0xff;
  for (unsigned int i = 0; i < 8 * length; ++i) {
    if (i % 8 == 0) crc ^= bytes[i / 8];
    crc = (crc << 1 ^ (crc & 0x80 ? 0x07 : 0)) & 0xff;
  }
  return static_cast<unsigned char>(crc);
}

unsigned char crcOf(std::string const& bytes) {
  return crc_crc8init(reinterpret_cast<unsigned char const*>(bytes.data()),
                      static_cast<unsigned int>(bytes.size()));
}

TEST(Crc8, Vectors) {
  struct {
    std::string bytes;
    unsigned char crc;
  } const rows[] = {
      {"", 0xff},
      {std::string(1, '\0'), 0xf3},
      {std::string(127, '\0'), 0xff},  // the period
      {"\xff", 0x00},
      {std::string("\x01\x23\x45\x67\x89\xab\xcd\xef"), 0xc5},
      {"123456789", 0xfb},
      // The check value published for this polynomial, 0xF4, is for "123456789" and the initial
      // value 0: here, with the first byte inverted.
      {"\xce"
       "23456789",
       0xf4},
  };
  for (auto const& row : rows) EXPECT_EQ(crcOf(row.bytes), row.crc) << row.bytes;
  EXPECT_EQ(crc_crc8init(nullptr, 0), 0xff);
}

TEST(Crc8, EveryLengthAgreesWithTheDefinitionAndStaysInRange) {
  tFenced memory(1000);
  for (unsigned int length = 0; length <= 900; ++length) {
    auto const bytes = randomBytes(length);
    for (unsigned char* const place : {memory.begin(), memory.back(length)}) {
      std::copy(bytes.begin(), bytes.end(), place);
      ASSERT_EQ(crc_crc8init(place, length), reference(place, length)) << length;
      unsigned int const cut = length / 3;
      ASSERT_EQ(crc_crc8(crc_crc8init(place, cut), place + cut, length - cut),
                reference(place, length))
          << length;
    }
  }
}

TEST(Crc8, LongRunsAtEveryAlignment) {
  auto const bytes = randomBytes((1 << 20) + 100);
  for (unsigned int const length : {4096U, 65537U, 127000U, 127001U, 1048653U}) {
    for (unsigned int offset = 0; offset < 16; ++offset) {
      EXPECT_EQ(crc_crc8init(&bytes[offset], length), reference(&bytes[offset], length))
          << length << " from " << offset;
    }
  }
}

}  // namespace
