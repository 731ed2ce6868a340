#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <system_error>

#include "link/clock.h"
#include "nkProtocol/telegram.h"
#include "nkSupport/tBlob.h"

/// One end of a byte stream that is open: a connected socket, a serial line. It stands between an
/// engine, which wants its bytes taken at once, and a system that takes and gives them when it can.
///
/// Nothing here waits for the peer. Bytes to send go into a buffer and from there to the system as
/// it takes them. The buffer grows with what is sent, so backpressure is the caller's part: whoever
/// sends takes on no new work while the link is congested(). A peer that takes nothing for
/// `patience` while bytes wait counts as gone. Bytes that arrive are read ahead into a second
/// buffer; when that is full the carrier stops reading, so that the system holds the peer back.
///
/// Everything runs on the thread that runs the io_context.
class nk_carrier {
 public:
  /// What it holds, and how long it waits.
  struct tLimits {
    /// Most bytes that are read ahead. The link is congested while more than half as many wait to
    /// be sent.
    unsigned int buffered = 4u << 20;
    /// Most bytes per read or write of the system; 1 shows what a slow link does.
    unsigned int perCall = 64u << 10;
    /// On a serial line the time that the system's own buffer needs to empty is added.
    std::chrono::milliseconds patience{10000};
    /// TCP only: after how long a silence the system probes whether the peer is still there. It
    /// probes three times, a third of this apart, and then ends the link; it does the same when
    /// sent bytes stay unacknowledged for twice this long. 0 leaves the system's settings as they
    /// are.
    std::chrono::seconds keepAlive{30};
  };

  /// Takes `descriptor` over, makes it non-blocking and closes it at the end. `io` is borrowed. A
  /// descriptor that cannot be used shows in error(). Throws std::system_error, with the descriptor
  /// closed, if the system has none left for waiting on it.
  nk_carrier(asio::io_context& io, int descriptor, tLimits const& limits);
  nk_carrier(nk_carrier const&) = delete;
  nk_carrier& operator=(nk_carrier const&) = delete;
  ~nk_carrier();

  /// Begins to read. `onEvent` is called from the io_context whenever bytes have arrived or gone
  /// out and when the link is over; it must not destroy the carrier.
  void start(std::function<void()> onEvent);

  /// Takes all `length` bytes over for sending and returns `length`. Never waits. 0 if the link is
  /// over, memory has run out, which ends the link, or `length` is 0: `error` is then the errno
  /// value, never EAGAIN.
  unsigned int send(unsigned char const* data, unsigned int length, int& error);
  /// Hands out up to `length` of the bytes that have arrived; 0 if none are there. Never waits.
  unsigned int receive(unsigned char* data, unsigned int length);
  /// send() and receive() for nk_protocol::poll; `ctx` is the carrier.
  static unsigned int sendFor(nk_server* server, void* ctx, unsigned char* data,
                              unsigned int length, int* error);
  static unsigned int receiveFor(nk_server* server, void* ctx, unsigned char* data,
                                 unsigned int length, int* error);

  /// Tells the peer that nothing more will be sent. To be called when outgoing() is 0. On a serial
  /// line, which has no such sign, it waits until the bytes have left the machine.
  void finishSending();
  /// Ends the link with ETIMEDOUT if bytes have been waiting longer than `patience`. On a serial
  /// line it also tries to move bytes, whether or not the system said that it can: terminal drivers
  /// have been seen to say it too early and not again. To be called several times a second.
  void checkProgress();

  /// Bytes that wait to be sent.
  unsigned int outgoing() const { return m_outgoing.size(); }
  /// Bytes that the system has taken and the peer's system has not: asks the system. On a Unix
  /// socket the system counts its own overhead too.
  unsigned int unacknowledged();
  /// Bytes that have arrived and were not handed out.
  unsigned int incoming() const { return m_incoming.size(); }
  /// Bytes of memory that both buffers take.
  unsigned long long heldBytes() const {
    return 0ull + m_outgoing.capacity() + m_incoming.capacity();
  }
  /// True if so many bytes wait to be sent that no new work should be taken on from this peer.
  bool congested() const { return !m_error && outgoing() > m_limits.buffered / 2; }
  /// All bytes that send() ever took, and that receive() ever handed out.
  unsigned long long sent() const { return m_sent; }
  unsigned long long received() const { return m_received; }
  /// True once the peer has ended its side in order; bytes may still be sent, and received.
  bool ended() const { return m_ended; }
  /// Why the link broke; no error as long as it did not.
  std::error_code error() const { return m_error; }
  /// True if the descriptor is no socket.
  bool isSerial() const { return !m_isSocket; }

 private:
  void watchRead();
  void watchWrite();
  bool mayRead() const;
  void readAhead();
  void take(unsigned char const* data, unsigned int length);
  void flush();
  unsigned int writeSome(unsigned char const* data, unsigned int length);
  void fail(int code);

  nk_clock& m_clock;
  tLimits const m_limits;
  bool m_isSocket = false;
  asio::posix::stream_descriptor m_descriptor;
  std::function<void()> m_onEvent;
  tBlob m_outgoing;
  tBlob m_incoming;
  bool m_started = false;
  bool m_readWatched = false;
  bool m_writeWatched = false;
  bool m_ended = false;
  std::error_code m_error;
  unsigned long long m_sent = 0;
  unsigned long long m_received = 0;
  nk_clock::tMoment m_lastProgress{};  // when the peer last took bytes, or had none to take
  // Handlers hold a weak pointer to it: they may be on their way when the carrier is destroyed.
  std::shared_ptr<char> m_alive = std::make_shared<char>();
};
