#include "tools/nkexplain/recorder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

namespace {

constexpr unsigned int synFlag = 2, ackFlag = 16, pushFlag = 8, finFlag = 1;

// The lowest bytes of `value`, four at most, highest first.
void addBig(std::string& to, unsigned int width, unsigned int value) {
  while (width-- != 0) to += static_cast<char>(value >> 8 * width & 0xFF);
}

unsigned int checksum(std::string const& header) {
  unsigned int sum = 0;
  for (unsigned int i = 0; i < header.size(); i += 2)
    sum += static_cast<unsigned int>(static_cast<unsigned char>(header[i])) << 8 |
           static_cast<unsigned char>(header[i + 1]);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return ~sum & 0xFFFF;
}

}  // namespace

nk_explain::tRecorder::tRecorder(std::string const& path, unsigned short port)
    : m_file(std::fopen(path.c_str(), "wbe")), m_port(port) {
  if (!m_file) throw std::system_error(errno, std::generic_category(), path);
  std::string header;
  addBig(header, 4, 0xA1B2C3D4);  // pcap, big-endian, microseconds
  addBig(header, 4, 0x00020004);  // version 2.4
  addBig(header, 4, 0);           // times are UTC
  addBig(header, 4, 0);           // and of no accuracy that could be told
  addBig(header, 4, 0x00040000);  // the most bytes of a packet
  addBig(header, 4, 101);         // raw IP
  write(header.data(), static_cast<unsigned int>(header.size()));
}

void nk_explain::tRecorder::write(void const* bytes, unsigned int size) {
  if (std::fwrite(bytes, 1, size, m_file.get()) != size || std::fflush(m_file.get()) != 0)
    throw std::system_error(errno, std::generic_category(), "the capture cannot be written");
}

nk_explain::tRecorder::tConnection::tConnection(tRecorder& recorder)
    : m_recorder(recorder), m_stationPort(++recorder.m_lastStationPort) {
  packet(true, synFlag, nullptr, 0);
  packet(false, synFlag | ackFlag, nullptr, 0);
  packet(true, ackFlag, nullptr, 0);
}

void nk_explain::tRecorder::tConnection::sent(bool byStation, unsigned char const* bytes,
                                              unsigned int size) {
  constexpr unsigned int most = 32768;
  for (unsigned int offset = 0; offset < size; offset += most)
    packet(byStation, ackFlag | pushFlag, bytes + offset, std::min(most, size - offset));
}

void nk_explain::tRecorder::tConnection::end() {
  packet(true, ackFlag | finFlag, nullptr, 0);
  packet(false, ackFlag | finFlag, nullptr, 0);
}

void nk_explain::tRecorder::tConnection::packet(bool byStation, unsigned int flags,
                                                unsigned char const* bytes, unsigned int size) {
  constexpr unsigned int ipHeader = 20, tcpHeader = 20, localhost = 0x7F000001;
  unsigned int const total = ipHeader + tcpHeader + size;
  std::string ip;
  addBig(ip, 4, 0x45000000 | total);
  addBig(ip, 4, 0x00004000);  // not to be cut up
  addBig(ip, 4, 0x40060000);  // TCP
  addBig(ip, 4, localhost);
  addBig(ip, 4, localhost);
  unsigned int const sum = checksum(ip);
  ip[10] = static_cast<char>(sum >> 8);
  ip[11] = static_cast<char>(sum & 0xFF);

  std::string tcp;
  addBig(tcp, 2, byStation ? m_stationPort : m_recorder.m_port);
  addBig(tcp, 2, byStation ? m_recorder.m_port : m_stationPort);
  addBig(tcp, 4, m_next[byStation]);
  addBig(tcp, 4, (flags & ackFlag) != 0 ? m_next[!byStation] : 0);
  addBig(tcp, 4, 5u << 28 | flags << 16 | 0xFFFF);
  addBig(tcp, 4, 0);
  // The two signs at the beginning and the end of a stream count as a byte each.
  m_next[byStation] += size + ((flags & (synFlag | finFlag)) != 0 ? 1 : 0);

  auto const now = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  std::string packet;
  addBig(packet, 4, static_cast<unsigned int>(now.count() / 1000000));
  addBig(packet, 4, static_cast<unsigned int>(now.count() % 1000000));
  addBig(packet, 4, total);
  addBig(packet, 4, total);
  packet += ip + tcp;
  packet.append(reinterpret_cast<char const*>(bytes), size);
  m_recorder.write(packet.data(), static_cast<unsigned int>(packet.size()));
}
