#pragma once

#include <sys/socket.h>

#include <algorithm>
#include <vector>

#include "nkProtocol/telegramPart.h"

namespace harness {

/// The far end of a link, frame by frame. The socket is borrowed and must not block.
class tWirePeer {
 public:
  explicit tWirePeer(int socket) : m_socket(socket) {}

  /// What has arrived so far, in order; of a telegram in parts the first only.
  struct tRequest {
    unsigned int id, destination;
    tBlob content;  ///< of the first part
  };
  std::vector<tRequest> requests;
  unsigned int received = 0;  ///< bytes
  bool ended = false;         ///< by the station

  /// Reads what is there, `most` bytes at most.
  void read(unsigned int most = 0xFFFFFFFF) {
    char buffer[65536];
    while (most != 0) {
      auto const count = ::recv(m_socket, buffer, std::min<std::size_t>(most, sizeof buffer), 0);
      ended |= count == 0;
      if (count <= 0) break;
      auto const size = static_cast<unsigned int>(count);
      received += size;
      most -= size;
      m_stream.append(buffer, size);
    }
    for (nk_telegramPart part; part.streamContainsTelegram(&m_stream);) {
      if (part.partId() != 1) continue;
      part.isSinglePartTelegram();  // decompresses it
      requests.push_back({part.telegramId(), part.destinationAddress(), *part.payload()});
    }
  }
  void send(tBlob const& bytes) const {
    // What the station does not take is lost.
    [[maybe_unused]] auto const sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  /// The frame of an answer that is one part, or of a part of one.
  static tBlob answer(unsigned int id, unsigned int source, unsigned int destination, tBlob content,
                      unsigned int number = 1, bool last = true) {
    nk_telegramPart part(id, source, destination, number, 0, last, &content,
                         nk_basicTelegram::TYPE_RESPONSE, nk_basicTelegram::COMPRESSION_NONE);
    tBlob frame;
    part.serialize(&frame);
    return frame;
  }

 private:
  int m_socket;
  tBlob m_stream;
};

}  // namespace harness
