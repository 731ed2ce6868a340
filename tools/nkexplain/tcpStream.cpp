#include "tools/nkexplain/tcpStream.h"

#include <algorithm>

namespace {
constexpr unsigned long long mostWaiting = 16u << 20;
}

void nk_explain::tTcpStream::begin(unsigned int sequence) {
  m_begun = true;
  m_next = sequence;
}

void nk_explain::tTcpStream::segment(unsigned int sequence, std::string_view captured,
                                     unsigned int size) {
  if (size == 0) return;
  if (!m_begun) begin(sequence);  // the capture was begun later than the connection
  auto const ahead = static_cast<int>(sequence - m_next);
  if (ahead <= 0) {
    // A segment that came before may come again, with more behind it.
    auto const old = 0u - static_cast<unsigned int>(ahead);
    if (old >= size) return;
    deliver({std::string(captured), size}, old);
    return deliverWaiting(false);
  }
  m_waiting.emplace(m_done + static_cast<unsigned int>(ahead),
                    tSegment{std::string(captured), size});
  m_waitingBytes += size;
  if (m_waitingBytes > mostWaiting) deliverWaiting(true);
}

void nk_explain::tTcpStream::finish() {
  while (!m_waiting.empty()) deliverWaiting(true);
  m_stream.finish();
}

void nk_explain::tTcpStream::deliver(tSegment const& segment, unsigned int skip) {
  auto const there = static_cast<unsigned int>(segment.captured.size());
  if (skip < there) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(segment.captured.data());
    m_stream.feed(bytes + skip, there - skip);
  }
  if (segment.size > there) m_stream.gap(segment.size - std::max(there, skip));
  m_next += segment.size - skip;
  m_done += segment.size - skip;
}

// With `jump` what is missing before the first segment that waits is given up.
void nk_explain::tTcpStream::deliverWaiting(bool jump) {
  for (; !m_waiting.empty(); jump = false) {
    auto const first = m_waiting.begin();
    if (first->first > m_done) {
      if (!jump) return;
      auto const missing = static_cast<unsigned int>(first->first - m_done);
      m_stream.gap(missing);
      m_next += missing;
      m_done += missing;
    }
    auto const old = m_done - first->first;
    if (old < first->second.size) deliver(first->second, static_cast<unsigned int>(old));
    m_waitingBytes -= first->second.size;
    m_waiting.erase(first);
  }
}
