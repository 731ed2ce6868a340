#pragma once

/// The layout of a frame: a start byte, the base-128 encoded body, an end byte. The body is the
/// header, the payload and the CRC. docs/wire-format.md describes the values.

/// The bytes that bound a frame; an encoded body contains neither.
constexpr unsigned char frameStart = 0x01;
constexpr unsigned char frameEnd = 0x02;

/// Where a field of the decoded body begins, and its size, both in bytes.
struct nk_frameField {
  unsigned int offset;
  unsigned int size;
  constexpr unsigned int end() const { return offset + size; }
};

/// The fields of the header: little-endian numbers without padding.
namespace frameHeader {
constexpr nk_frameField source{0, 4};
constexpr nk_frameField destination{source.end(), 4};
constexpr nk_frameField telegramId{destination.end(), 4};
constexpr nk_frameField partId{telegramId.end(), 4};
constexpr nk_frameField timestamp{partId.end(), 4};
constexpr nk_frameField flags{timestamp.end(), 1};
constexpr nk_frameField payloadSize{flags.end(), 4};
}  // namespace frameHeader

constexpr unsigned int frameHeaderSize = frameHeader::payloadSize.end();
constexpr unsigned int frameCrcSize = 1;

/// Which bits of the flags byte hold which enumeration of a telegram part.
namespace frameFlags {
constexpr unsigned char type = 0x03;
constexpr unsigned char partInfo = 0x0C;
constexpr unsigned char compression = 0x30;
}  // namespace frameFlags
