#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tools/nkexplain/stream.h"

namespace nk_explain {

/// Brings the segments of one direction of a TCP connection into their order and explains what they
/// carry. Bytes that are missing are waited for until the end, or until too much waits behind them.
class tTcpStream {
 public:
  tTcpStream(std::string name, tTeller const& tell) : m_stream(std::move(name), tell) {}

  /// The connection begins: its first byte will have this number.
  void begin(unsigned int sequence);
  /// A segment of `size` bytes, of which the first were captured.
  void segment(unsigned int sequence, std::string_view captured, unsigned int size);
  /// Nothing more comes.
  void finish();

 private:
  struct tSegment {
    std::string captured;
    unsigned int size;
  };

  void deliver(tSegment const& segment, unsigned int skip);
  void deliverWaiting(bool jump);

  tStream m_stream;
  bool m_begun = false;
  unsigned int m_next = 0;        // number of the byte that comes next
  unsigned long long m_done = 0;  // bytes before it
  unsigned long long m_waitingBytes = 0;
  std::multimap<unsigned long long, tSegment> m_waiting;  // by their place in the stream
};

}  // namespace nk_explain
