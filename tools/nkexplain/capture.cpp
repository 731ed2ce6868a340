#include "tools/nkexplain/capture.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>

#include "tools/nkexplain/tcpStream.h"

namespace {

using tBytes = std::string_view;

unsigned int big(tBytes bytes, unsigned int offset, unsigned int width) {
  unsigned int value = 0;
  for (unsigned int i = 0; i < width; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

unsigned int sizeOf(tBytes bytes) { return static_cast<unsigned int>(bytes.size()); }

std::string address(tBytes bytes) {
  std::string text;
  if (bytes.size() == 4) {
    for (unsigned int i = 0; i < 4; ++i)
      text += (i == 0 ? "" : ".") + std::to_string(big(bytes, i, 1));
    return text;
  }
  for (unsigned int i = 0; i < sizeOf(bytes); ++i) {
    if (i != 0 && i % 2 == 0) text += ':';
    text += nk_explain::hexText(static_cast<unsigned char>(bytes[i]));
  }
  return '[' + text + ']';
}

class tCapture {
 public:
  tCapture(unsigned int port, nk_explain::tTeller const& tell) : m_port(port), m_tell(tell) {}

  // One packet of the file, by the kind of network it was captured on.
  void packet(unsigned int network, tBytes bytes) {
    switch (network) {
      case 1:  // Ethernet
        return afterType(bytes, 12);
      case 0:    // loopback
      case 108:  // the same, of OpenBSD
        return bytes.size() < 4 ? void() : ip(bytes.substr(4));
      case 12:  // raw IP, of some systems
      case 101:
        return ip(bytes);
      case 113:  // Linux, "any"
        return afterType(bytes, 14);
      case 276:  // the same, second version
        return bytes.size() < 20 ? void() : ip(bytes.substr(20));
      default:
        return;
    }
  }
  void finish() {
    for (auto& [key, stream] : m_streams) stream->finish();
  }

 private:
  void afterType(tBytes bytes, unsigned int offset) {
    constexpr unsigned int vlan = 0x8100;
    while (bytes.size() >= offset + 4 && big(bytes, offset, 2) == vlan) offset += 4;
    if (bytes.size() >= offset + 2) ip(bytes.substr(offset + 2));
  }

  void ip(tBytes bytes) {
    if (bytes.empty()) return;
    unsigned int const version = big(bytes, 0, 1) >> 4;
    if (version == 4) return ip4(bytes);
    constexpr unsigned int header = 40;
    if (version != 6 || bytes.size() < header || big(bytes, 6, 1) != tcpProtocol) return;
    tcp(bytes.substr(header), big(bytes, 4, 2), bytes.substr(8, 16), bytes.substr(24, 16));
  }
  void ip4(tBytes bytes) {
    if (bytes.size() < 20 || big(bytes, 9, 1) != tcpProtocol) return;
    unsigned int const header = (big(bytes, 0, 1) & 15) * 4;
    // A length of 0 was written by a system that leaves it to its network card.
    unsigned int const total = big(bytes, 2, 2) != 0 ? big(bytes, 2, 2) : sizeOf(bytes);
    bool const fragment = (big(bytes, 6, 2) & 0x3FFF) != 0;
    if (header < 20 || header > bytes.size() || header > total || fragment) return;
    tcp(bytes.substr(header), total - header, bytes.substr(12, 4), bytes.substr(16, 4));
  }

  // `size` is that of the segment as it was sent: it may have been captured in part.
  void tcp(tBytes bytes, unsigned int size, tBytes from, tBytes to) {
    if (bytes.size() < 20 || size < 20) return;
    unsigned int const fromPort = big(bytes, 0, 2), toPort = big(bytes, 2, 2);
    unsigned int const header = (big(bytes, 12, 1) >> 4) * 4;
    if (header < 20 || header > bytes.size() || header > size) return;
    if (m_port != 0 && fromPort != m_port && toPort != m_port) return;
    unsigned int const flags = big(bytes, 13, 1), sequence = big(bytes, 4, 4);
    std::string const name = address(from) + ":" + std::to_string(fromPort) + " > " + address(to) +
                             ":" + std::to_string(toPort);
    auto& stream = m_streams[name];
    bool const begins = (flags & synFlag) != 0;
    if (stream != nullptr && begins) stream->finish();
    if (stream == nullptr || begins)
      stream = std::make_unique<nk_explain::tTcpStream>(name, m_tell);
    if (begins) return stream->begin(sequence + 1);
    stream->segment(sequence, bytes.substr(header, size - header), size - header);
  }

  static constexpr unsigned int tcpProtocol = 6, synFlag = 2;
  unsigned int const m_port;
  nk_explain::tTeller const& m_tell;
  std::map<std::string, std::unique_ptr<nk_explain::tTcpStream>> m_streams;
};

// The numbers in the file's own headers, in the byte order of the machine that wrote it.
class tFile {
 public:
  explicit tFile(tBlob const& file)
      : m_bytes(reinterpret_cast<char const*>(file.data()), file.size()) {}

  bool is(std::string_view magic) const { return m_bytes.starts_with(magic); }
  std::string explain(tCapture& capture) {
    constexpr unsigned int fileHeader = 24, packetHeader = 16;
    if (m_bytes.size() < fileHeader) return "is cut short in its header";
    m_littleEndian = m_bytes[0] != '\xa1';
    unsigned int const network = number(20) & 0xFFFF;
    m_bytes.remove_prefix(fileHeader);
    while (!m_bytes.empty()) {
      unsigned int const size = m_bytes.size() < packetHeader ? 0 : number(8);
      if (m_bytes.size() < packetHeader || size > m_bytes.size() - packetHeader)
        return "is cut short in a packet";
      capture.packet(network, m_bytes.substr(packetHeader, size));
      m_bytes.remove_prefix(packetHeader + size);
    }
    return {};
  }

 private:
  unsigned int number(unsigned int offset) const {
    unsigned int const value = big(m_bytes, offset, 4);
    return m_littleEndian ? __builtin_bswap32(value) : value;
  }

  tBytes m_bytes;
  bool m_littleEndian = false;
};

constexpr std::string_view pcapMagics[] = {"\xd4\xc3\xb2\xa1", "\xa1\xb2\xc3\xd4",
                                           "\x4d\x3c\xb2\xa1", "\xa1\xb2\x3c\x4d"};
constexpr std::string_view pcapngMagic = "\x0a\x0d\x0d\x0a";

}  // namespace

bool nk_explain::isCapture(tBlob const& file) {
  tFile const bytes(file);
  return bytes.is(pcapngMagic) || std::any_of(std::begin(pcapMagics), std::end(pcapMagics),
                                              [&](auto magic) { return bytes.is(magic); });
}

std::string nk_explain::explainCapture(tBlob const& file, unsigned int port, tTeller const& tell) {
  tFile bytes(file);
  if (bytes.is(pcapngMagic)) return "is a pcapng file; editcap -F pcap makes a pcap file of it";
  tCapture capture(port, tell);
  std::string fault = bytes.explain(capture);
  capture.finish();
  return fault;
}
