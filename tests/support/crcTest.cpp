#include "nkSupport/crc.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "harness/hex.h"
#include "support/fenced.h"

namespace {

/// The definition: one bit at a time.
unsigned char reference(tBlob const& bytes) {
  unsigned int crc = 0xff;
  for (unsigned int i = 0; i < 8 * bytes.size(); ++i) {
    if (i % 8 == 0) crc ^= bytes.data()[i / 8];
    crc = (crc << 1 ^ (crc & 0x80 ? 0x07 : 0)) & 0xff;
  }
  return static_cast<unsigned char>(crc);
}

TEST(Crc8, EveryLengthAgreesWithTheDefinitionAndStaysInRange) {
  EXPECT_EQ(reference(harness::bytes("123456789")), 0xfb);
  EXPECT_EQ(crc_crc8init(nullptr, 0), 0xff);
  std::vector<unsigned int> lengths{4096, 65537, 127000, 127001};
  for (unsigned int length = 0; length <= 900; ++length) lengths.push_back(length);
  tFenced memory(1 << 17);
  for (unsigned int const length : lengths) {
    tBlob const bytes = harness::noise(length, length);
    for (bool const atEnd : {false, true}) {
      unsigned char* const place = memory.at(atEnd, length);
      std::copy(bytes.data(), bytes.data() + length, place);
      ASSERT_EQ(crc_crc8init(place, length), reference(bytes)) << length;
      unsigned int const cut = length / 3;
      ASSERT_EQ(crc_crc8(crc_crc8init(place, cut), place + cut, length - cut), reference(bytes))
          << length;
    }
  }
}

}  // namespace
