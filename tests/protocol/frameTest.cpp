#include <gtest/gtest.h>

#include "harness/hex.h"
#include "nkProtocol/telegramPart.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "nkSupport/tCompression.h"

namespace {

using harness::hex;
using harness::toHex;

/// The frame of a body without its CRC, put together from the support library's functions alone.
tBlob frameOf(tBlob body) {
  unsigned char const crc = crc_crc8init(body.data(), body.size());
  body.append(&crc, 1);
  tBlob frame = hex("01");
  base128::encode(frame.extend(base128::encodedSize(body.size())), body.data(), body.size());
  frame.append(hex("02"));
  return frame;
}

// Source 1, destination 2, id 7, first part, time stamp 0x65431234.
constexpr char header[] = "01000000 02000000 07000000 01000000 34124365";

tBlob goodFrame() { return frameOf(hex(std::string(header) + "0a 03000000 616263")); }

TEST(Frame, HasTheDocumentedBytes) {
  using tPart = nk_telegramPart;
  struct {
    tPart::teType type;
    tPart::teCompression compression;
    bool last;
    unsigned char flags;
  } const rows[] = {{tPart::TYPE_REQUEST_NO_RESPONSE, tPart::COMPRESSION_NONE, true, 0x09},
                    {tPart::TYPE_REQUEST_FORCE_RESPONSE, tPart::COMPRESSION_RLE, false, 0x16},
                    {tPart::TYPE_RESPONSE, tPart::COMPRESSION_HUFF, true, 0x2B}};
  // Sizes round the bounds between the pieces in which a body is encoded.
  std::vector<unsigned int> sizes{0, 1, 2, 70001};
  for (unsigned int size = 511; size <= 520; ++size) sizes.push_back(size);
  for (unsigned int const size : sizes) {
    auto const& row = rows[size % 3];
    tBlob payload = harness::noise(size);
    tPart part(7, 1, 2, 1, 0x65431234, row.last, &payload, row.type, row.compression);
    tBlob stream = hex("ff"), body = hex(header);
    ASSERT_TRUE(part.serialize(&stream));
    stream.slice(1);
    body.append(&row.flags, 1);
    body.append(&size, sizeof size);
    body.append(payload);
    ASSERT_EQ(stream == frameOf(body), true) << size << ": " << toHex(stream);

    tPart read;
    tBlob again;
    ASSERT_TRUE(read.streamContainsTelegram(&stream) && read.serialize(&again));
    EXPECT_EQ(again == frameOf(body), true) << size << ": " << toHex(again);
    EXPECT_TRUE(read.type() == row.type && read.timestamp() == 0x65431234u);
  }
  EXPECT_FALSE(nk_telegramPart().serialize(nullptr));
}

TEST(Frame, IsTheSameForEver) {
  // Guards base-128 and CRC as well: peers in the field know these bytes.
  EXPECT_EQ(toHex(goodFrame()),
            "01 81 80 80 80 a0 80 80 80 80 8e 80 80 80 a0 80 80 80 80 d0 91 b1 a8 99 85 83 80 80 "
            "80 90 cc d8 b1 aa 81 02");
}

struct tStreamRow {
  char const* name;
  tBlob stream;
  bool valid, consumed;  // the latter: taken off the stream
};

std::vector<tStreamRow> streamRows() {
  auto const before = [](tBlob bytes) { return bytes.append(goodFrame()), bytes; };
  auto const withLength = [](std::string const& digits, char const* payload = "616263") {
    return frameOf(hex(header + ("0a" + digits) + payload));
  };
  std::vector<tStreamRow> rows = {
      {"empty", tBlob(), false, false},
      {"start without end", hex("01 80 80"), false, false},
      {"end without start", hex("aa 02"), false, false},
      {"end before start", hex("aa 02 01 80 80 02"), false, false},
      {"empty frame", hex("01 02"), false, true},
      {"length that no encoding has", hex("01 80 02"), false, true},
      {"CRC of nothing", frameOf(tBlob()), false, true},
      {"garbage before the start", before(hex("03 aa")), true, true},
      {"second start inside", before(hex("01 81")), false, true},
      {"header cut off", frameOf(hex("01000000 0200")), false, true},
      {"no payload", withLength("00000000", ""), true, true},
      {"payload length past the end", withLength("05000000"), false, true},
      {"payload length that wraps", withLength("ffffffff"), false, true},
      {"more bytes than the payload length", withLength("01000000"), true, true},
  };
  for (unsigned int byte = 1; byte + 1 < goodFrame().size(); ++byte) {
    for (unsigned int bit = 0; bit < 8; ++bit) {
      tBlob damaged = goodFrame();
      damaged.data()[byte] = static_cast<unsigned char>(damaged.data()[byte] ^ (1u << bit));
      rows.push_back({"one bit changed", damaged, false, true});
    }
  }
  return rows;
}

TEST(Frame, TakesWholeFramesAndDropsBadOnes) {
  for (auto const& row : streamRows()) {
    SCOPED_TRACE(std::string(row.name) + ": " + toHex(row.stream));
    tBlob stream(row.stream);
    EXPECT_EQ(nk_telegramPart().streamContainsTelegram(&stream), row.valid);
    EXPECT_EQ(stream.empty(), row.consumed || row.stream.empty());
    if (!row.consumed) {
      EXPECT_EQ(stream == row.stream, true);
      continue;
    }
    // A good frame behind is found, wherever the stream is cut.
    tBlob both(row.stream);
    both.append(goodFrame());
    unsigned int found = 0;
    tBlob grown;
    for (unsigned int i = 0; i < both.size(); ++i) {
      grown.append(both.data() + i, 1);
      if (nk_telegramPart().streamContainsTelegram(&grown)) ++found;
    }
    EXPECT_EQ(found, row.valid ? 2u : 1u);
    EXPECT_TRUE(grown.empty());
  }
  EXPECT_FALSE(nk_telegramPart().streamContainsTelegram(nullptr));
}

TEST(Frame, ABadPayloadLengthLeavesTheKindOfThePart) {
  tBlob payload = hex("61");
  nk_telegramPart part(1, 2, 3, 4, 5, false, &payload, nk_telegramPart::TYPE_RESPONSE,
                       nk_telegramPart::COMPRESSION_HUFF);
  tBlob stream = frameOf(hex(std::string(header) + "0a 05000000 616263"));
  EXPECT_FALSE(part.streamContainsTelegram(&stream));
  EXPECT_EQ(part.telegramId(), 7u);
  EXPECT_TRUE(part.isResponse() && part.payload()->empty());
  EXPECT_EQ(part.compression(), nk_telegramPart::COMPRESSION_HUFF);
}

TEST(TelegramPart, IsAWholeTelegramOnlyAsNumberOneAndLast) {
  tBlob const content = harness::bytes(std::string(100, 'x'));
  for (auto const& [number, last] : {std::pair{1u, true}, {1, false}, {2, true}}) {
    tBlob payload = tCompression::encodeRLE(content);
    nk_telegramPart part(1, 2, 3, number, 0, last, &payload, nk_telegramPart::TYPE_RESPONSE,
                         nk_telegramPart::COMPRESSION_RLE);
    bool const whole = number == 1 && last;
    EXPECT_EQ(part.isSinglePartTelegram() != nullptr, whole);
    EXPECT_EQ(*part.payload() == (whole ? content : payload), true);
  }
}

TEST(TelegramPart, CopiesShareNothing) {
  tBlob payload = hex("61 62");
  nk_telegramPart part(1, 2, 3, 4, 5, true, &payload, nk_telegramPart::TYPE_RESPONSE,
                       nk_telegramPart::COMPRESSION_HUFF);
  nk_telegramPart copy(&part), none(static_cast<nk_telegramPart const*>(nullptr));
  part.payload()->clear();
  EXPECT_EQ(toHex(*copy.payload()), "61 62");
  EXPECT_TRUE(copy.partId() == 4 && copy.isLastPart() && copy.isResponse());
  EXPECT_EQ(none.sourceAddress(), nk_basicTelegram::addressNone);
  EXPECT_EQ(none.destinationAddress(), nk_basicTelegram::addressNone);
  EXPECT_FALSE(none.isResponse() || none.isLastPart());
}

TEST(TelegramPart, NamesItsEnumerations) {
  std::string types, forms, infos;
  for (int i = 0; i < 4; ++i) {
    types += nk_telegramPart::typeName(nk_telegramPart::teType(i)).c_str() + std::string(" ");
    forms += nk_telegramPart::compressionName(nk_telegramPart::teCompression(16 * i)).c_str();
    infos += nk_telegramPart::partInfo(nk_telegramPart::tePartInfo(4 * i)).c_str();
  }
  EXPECT_EQ(types, "invalid TYPE_REQUEST_NO_RESPONSE TYPE_REQUEST_FORCE_RESPONSE TYPE_RESPONSE ");
  EXPECT_EQ(forms, "COMPRESSION_NONECOMPRESSION_RLECOMPRESSION_HUFFinvalid");
  EXPECT_EQ(infos, "invalidPARTINFO_NOT_LAST_PARTPARTINFO_LAST_PARTinvalid");
}

}  // namespace
