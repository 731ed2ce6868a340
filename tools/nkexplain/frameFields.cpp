#include "tools/nkexplain/frameFields.h"

#include <algorithm>

#include "codec/frameLayout.h"
#include "nkProtocol/telegramPart.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "tools/common/moment.h"

namespace {

using nk_explain::tField;

unsigned int read(tBlob const& body, nk_frameField const& at) {
  unsigned int value = 0;
  std::memcpy(&value, body.data() + at.offset, at.size);
  return value;
}

std::string addressText(unsigned int address) {
  if (address == nk_basicTelegram::addressBroadcast) return "broadcast";
  return address == nk_basicTelegram::addressNone ? "no address" : "";
}

std::string noText(unsigned int) { return {}; }

std::string timeText(unsigned int seconds) { return momentText(seconds) + " UTC"; }

std::string flagsText(unsigned int flags) {
  char const* const types[] = {"request that wants a response", "request that wants no response",
                               "request that wants a response", "response"};
  bool const last = (flags & frameFlags::partInfo) == nk_telegramPart::PARTINFO_LAST_PART;
  return std::string(types[flags & frameFlags::type]) +
         (last ? ", last part, " : ", not the last part, ") +
         nk_explain::compressionText(
             nk_basicTelegram::teCompression(flags & frameFlags::compression));
}

// Why `encoded` is no base-128, as the decoder of the library found.
std::string encodingFault(unsigned char const* encoded, unsigned int size) {
  auto const* const end = encoded + size;
  auto const* const low = std::find_if(encoded, end, [](unsigned char b) { return b < 0x80; });
  if (low != end) {
    std::string const place = " at byte " + std::to_string(low - encoded + 1) + " of the frame";
    if (*low == frameStart)
      return "a start byte 01" + place + ": a frame was cut off, and the next one begins in it";
    return "wrong encoding: " + nk_explain::hexText(*low) + place + " is below 80";
  }
  if (size % 8 == 1)
    return "wrong encoding: " + std::to_string(size) + " bytes, a length that nothing encodes to";
  return "wrong encoding: bits of the last byte, " + nk_explain::hexText(end[-1]) +
         ", that only fill it up are not 0";
}

class tFrame {
 public:
  tFrame(tBlob const& frame, unsigned long long wireOffset, std::vector<tField>& fields)
      : m_frame(frame), m_wireOffset(wireOffset), m_fields(fields) {}

  std::string list() {
    boundary(0, "start");
    std::string fault = body();
    boundary(m_frame.size() - 1, "end");
    return fault;
  }

 private:
  void boundary(unsigned int at, char const* name) {
    m_fields.push_back(nk_explain::makeField(m_frame, at, 1, name, 0ULL + m_frame.data()[at]));
    m_fields.back().wireOffset = m_wireOffset + at;
    m_fields.back().wireSize = 1;
  }
  void undecoded() {
    unsigned int const size = m_frame.size() - 2;
    if (size == 0) return;
    m_fields.push_back(nk_explain::makeField(m_frame, 1, size, "(not decoded)", ""));
    m_fields.back().wireOffset = m_wireOffset + 1;
    m_fields.back().wireSize = size;
  }
  // A field of the decoded body, whose bits begin in one encoded byte and end in another.
  void field(nk_frameField const& at, char const* name, nk_explain::tValue value,
             std::string meaning = {}) {
    if (at.size == 0) return;
    m_fields.push_back(nk_explain::makeField(m_body, at.offset, at.size, name, std::move(value),
                                             std::move(meaning)));
    auto const first = 8ULL * at.offset / 7;
    auto const last = (8ULL * at.end() - 1) / 7;
    m_fields.back().wireOffset = m_wireOffset + 1 + first;
    m_fields.back().wireSize = static_cast<unsigned int>(last - first + 1);
  }

  std::string body() {
    unsigned char const* const encoded = m_frame.data() + 1;
    unsigned int const size = m_frame.size() - 2;
    unsigned int const bodySize = base128::decodedSize(size);
    unsigned char* const decoded = bodySize != 0 ? m_body.extend(bodySize) : nullptr;
    if (bodySize != 0 && decoded == nullptr) return "there is no memory to decode it";
    if (bodySize == 0 || !base128::decode(decoded, encoded, size)) {
      undecoded();
      return size == 0 ? "there is nothing in it" : encodingFault(encoded, size);
    }
    unsigned int const listed = header(bodySize);
    std::string lengthFault;
    if (bodySize >= frameHeaderSize) {
      lengthFault = payload();
    } else {
      field({listed, bodySize - listed}, "(not read)", "");
      lengthFault = "too short: " + std::to_string(bodySize) + " bytes decoded, and a header has " +
                    std::to_string(frameHeaderSize);
    }
    if (auto fault = crcFault(); !fault.empty()) return fault;
    return lengthFault;
  }

  // Returns how many bytes it listed.
  unsigned int header(unsigned int size) {
    struct {
      nk_frameField at;
      char const* name;
      std::string (*meaning)(unsigned int value);
    } const rows[] = {{frameHeader::source, "source", addressText},
                      {frameHeader::destination, "destination", addressText},
                      {frameHeader::telegramId, "id", noText},
                      {frameHeader::partId, "part", noText},
                      {frameHeader::timestamp, "time", timeText},
                      {frameHeader::flags, "flags", flagsText}};
    for (auto const& [at, name, meaning] : rows) {
      if (size < at.end()) return at.offset;
      unsigned int const value = read(m_body, at);
      field(at, name, 0ULL + value, meaning(value));
    }
    return frameHeader::flags.end();
  }

  std::string payload() {
    unsigned int const said = read(m_body, frameHeader::payloadSize);
    unsigned int const behind = m_body.size() - frameHeaderSize;
    field(frameHeader::payloadSize, "payload size", 0ULL + said);
    unsigned int const size = std::min(said, behind > frameCrcSize ? behind - frameCrcSize : 0);
    field({frameHeaderSize, size}, "payload", std::to_string(size) + " bytes");
    unsigned int const rest = behind - size;
    if (rest > frameCrcSize)
      field({frameHeaderSize + size, rest - frameCrcSize}, "(beyond the payload)", "");
    if (rest != 0) {
      unsigned char const should = crc_crc8init(m_body.data(), m_body.size() - frameCrcSize);
      unsigned char const is = m_body.data()[m_body.size() - 1];
      field({m_body.size() - frameCrcSize, frameCrcSize}, "crc", 0ULL + is,
            is == should ? "right" : "wrong");
      if (said == behind) m_fields.back().meaning += ", and counted as payload too";
    }
    if (said > behind)
      return "length mismatch: the payload is said to have " + std::to_string(said) +
             " bytes, but " + std::to_string(behind) + " are left, the CRC included";
    return {};
  }

  std::string crcFault() const {
    unsigned int const size = m_body.size() - frameCrcSize;
    unsigned char const should = crc_crc8init(m_body.data(), size);
    unsigned char const is = m_body.data()[size];
    if (is == should) return {};
    return "wrong CRC: the bytes give " + nk_explain::hexText(should) + ", the frame has " +
           nk_explain::hexText(is);
  }

  tBlob const& m_frame;
  unsigned long long const m_wireOffset;
  std::vector<tField>& m_fields;
  tBlob m_body;
};

}  // namespace

std::string nk_explain::listFrameFields(tBlob const& frame, unsigned long long wireOffset,
                                        std::vector<tField>& fields) {
  return tFrame(frame, wireOffset, fields).list();
}

std::string nk_explain::compressionText(nk_basicTelegram::teCompression compression) {
  if (compression == nk_basicTelegram::COMPRESSION_RLE) return "run lengths";
  return compression == nk_basicTelegram::COMPRESSION_HUFF ? "Huffman" : "not compressed";
}
