#include "tools/nkexplain/frameFields.h"

#include <algorithm>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"
#include "protocol/frame.h"
#include "tools/common/moment.h"

namespace {

using nk_explain::tField;

unsigned int readU32(tBlob const& bytes, unsigned int offset) {
  unsigned int value = 0;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::string addressText(unsigned int address) {
  if (address == nk_basicTelegram::addressBroadcast) return "broadcast";
  return address == nk_basicTelegram::addressNone ? "no address" : "";
}

std::string flagsText(unsigned int flags) {
  char const* const types[] = {"request that wants a response", "request that wants no response",
                               "request that wants a response", "response"};
  bool const last = (flags & 0x0C) == nk_telegramPart::PARTINFO_LAST_PART;
  return std::string(types[flags & 3]) + (last ? ", last part, " : ", not the last part, ") +
         nk_explain::compressionText(nk_basicTelegram::teCompression(flags & 0x30));
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
  void field(unsigned int offset, unsigned int size, char const* name, nk_explain::tValue value,
             std::string meaning = {}) {
    if (size == 0) return;
    m_fields.push_back(
        nk_explain::makeField(m_body, offset, size, name, std::move(value), std::move(meaning)));
    auto const first = 8ULL * offset / 7;
    auto const last = (8ULL * (offset + size) - 1) / 7;
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
      field(listed, bodySize - listed, "(not read)", "");
      lengthFault =
          "too short: " + std::to_string(bodySize) + " bytes decoded, and a header has 25";
    }
    if (auto fault = crcFault(); !fault.empty()) return fault;
    return lengthFault;
  }

  // Returns how many bytes it listed.
  unsigned int header(unsigned int size) {
    struct {
      unsigned int offset;
      char const* name;
    } const words[] = {{0, "source"}, {4, "destination"}, {8, "id"}, {12, "part"}, {16, "time"}};
    for (auto const& [offset, name] : words) {
      if (size < offset + 4) return offset;
      unsigned int const value = readU32(m_body, offset);
      field(offset, 4, name, 0ULL + value, offset < 8 ? addressText(value) : "");
      if (offset == 16) m_fields.back().meaning = momentText(value) + " UTC";
    }
    if (size < 21) return 20;
    field(20, 1, "flags", 0ULL + m_body.data()[20], flagsText(m_body.data()[20]));
    return 21;
  }

  std::string payload() {
    unsigned int const said = readU32(m_body, 21);
    unsigned int const behind = m_body.size() - frameHeaderSize;
    field(21, 4, "payload size", 0ULL + said);
    unsigned int const size = std::min(said, behind > frameCrcSize ? behind - frameCrcSize : 0);
    if (size != 0) field(25, size, "payload", std::to_string(size) + " bytes");
    unsigned int const rest = behind - size;
    if (rest > frameCrcSize) field(25 + size, rest - frameCrcSize, "(beyond the payload)", "");
    if (rest != 0) {
      unsigned char const should = crc_crc8init(m_body.data(), m_body.size() - frameCrcSize);
      unsigned char const is = m_body.data()[m_body.size() - 1];
      field(m_body.size() - 1, 1, "crc", 0ULL + is, is == should ? "right" : "wrong");
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
