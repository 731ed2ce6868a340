#include "nkProtocol/serializer.h"

#include <gtest/gtest.h>

#include "harness/hex.h"

namespace {

using harness::hex;
using harness::toHex;
constexpr auto READ = nk_serializer::SER_READ;
constexpr auto WRITE = nk_serializer::SER_WRITE;

TEST(Serializer, AFailedNumberMovesNothing) {
  tBlob bytes = hex("01 02 03");
  nk_serializer ser(&bytes);
  unsigned int wide = 77;
  EXPECT_FALSE(ser.u32(wide, READ));
  EXPECT_EQ(wide, 77u);
  unsigned short narrow = 0;
  EXPECT_TRUE(ser.u16(narrow, READ));
  EXPECT_EQ(narrow, 0x0201);
}

TEST(Serializer, ALengthPastTheEndEmptiesTheTargetAndStaysConsumed) {
  // The last one would wrap round a 32-bit sum of position and length.
  for (char const* bytes : {"0a 00 00 00 31 32 33 34 35 36 37 38 39", "ff ff ff ff 31 32 33 34 35",
                            "fc ff ff ff 31 32 33 34 35"}) {
    SCOPED_TRACE(bytes);
    tBlob blob = hex(bytes);
    nk_serializer ser(&blob);
    tString text("before");
    EXPECT_FALSE(ser.string(text, READ));
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(ser.remaining(), blob.size() - 4);
    nk_serializer again(&blob);
    tBlob out = hex("01");
    EXPECT_FALSE(again.blob(out, READ));
    EXPECT_TRUE(out.empty());
  }
}

TEST(Serializer, WritingNeverMovesTheReadPosition) {
  tBlob bytes = hex("01 02");
  nk_serializer ser(&bytes);
  unsigned char value = 0;
  EXPECT_TRUE(ser.u8(value, READ));
  EXPECT_TRUE(ser.u8(value, WRITE) && ser.u8(value, READ));
  EXPECT_EQ(value, 2);
  EXPECT_EQ(toHex(bytes), "01 02");
  ser.clearSer();
  EXPECT_TRUE(ser.empty());
  EXPECT_TRUE(ser.u8(value, WRITE) && ser.u8(value, READ));
}

}  // namespace
