#include "nkProtocol/serializer.h"

#include <gtest/gtest.h>

#include <functional>

#include "harness/hex.h"

namespace {

using harness::hex;
using harness::toHex;
constexpr auto READ = nk_serializer::SER_READ;
constexpr auto WRITE = nk_serializer::SER_WRITE;

/// Passes one field of a known value through `ser`; reading compares with that value.
template <class T>
auto field(bool (nk_serializer::*pass)(T&, nk_serializer::teSerDirection), T const& value) {
  return [pass, value](nk_serializer& ser, nk_serializer::teSerDirection d) {
    T passed = d == WRITE ? value : T();
    return (ser.*pass)(passed, d) && passed == value;
  };
}

TEST(Serializer, EveryFieldHasItsBytesAndNoPrefixOfThemIsRead) {
  struct tRow {
    char const* bytes;
    std::function<bool(nk_serializer&, nk_serializer::teSerDirection)> pass;
  };
  tRow const rows[] = {
      {"fe", field<unsigned char>(&nk_serializer::u8, 0xFE)},
      {"80", field<signed char>(&nk_serializer::i8, -128)},
      {"34 12", field<unsigned short>(&nk_serializer::u16, 0x1234)},
      {"ec ff", field<short>(&nk_serializer::i16, -20)},
      {"04 03 02 01", field<unsigned int>(&nk_serializer::u32, 0x01020304)},
      {"01 00 00 00 00 00 00 80",
       field<unsigned long long>(&nk_serializer::u64, 0x8000000000000001ULL)},
      {"00 00 00 00", field<tString>(&nk_serializer::string, "")},
      {"03 00 00 00 61 00 ff", field<tString>(&nk_serializer::string, tString("a\0\xff", 3))},
      {"01 03 02 07 06 05 04",
       [](nk_serializer& ser, nk_serializer::teSerDirection d) {
         unsigned char a = d == WRITE ? 1 : 0;
         unsigned short b = d == WRITE ? 0x0203 : 0;
         unsigned int c = d == WRITE ? 0x04050607 : 0;
         bool const passed = ser.numbers(d, a, b, c);
         EXPECT_TRUE(passed || (a == 0 && b == 0 && c == 0));
         return passed && a == 1 && b == 0x0203 && c == 0x04050607;
       }},
      {"02 00 00 00 01 02", field<tBlob>(&nk_serializer::blob, hex("01 02"))},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.bytes);
    nk_serializer writer;
    EXPECT_TRUE(row.pass(writer, WRITE));
    EXPECT_EQ(toHex(writer), row.bytes);
    nk_serializer reader(&writer);
    EXPECT_TRUE(row.pass(reader, READ));
    EXPECT_EQ(reader.remaining(), 0u);
    for (unsigned int size = 0; size < writer.size(); ++size) {
      tBlob prefix(writer.data(), size);
      nk_serializer shorter(&prefix);
      EXPECT_FALSE(row.pass(shorter, READ)) << size;
    }
  }
}

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
  value = 9;
  EXPECT_TRUE(ser.u8(value, WRITE));
  EXPECT_TRUE(ser.u8(value, READ));
  EXPECT_EQ(value, 2);
  EXPECT_EQ(toHex(bytes), "01 02");
  ser.clearSer();
  EXPECT_TRUE(ser.empty());
  value = 5;
  EXPECT_TRUE(ser.u8(value, WRITE) && ser.u8(value, READ));
  EXPECT_EQ(value, 5);
}

}  // namespace
