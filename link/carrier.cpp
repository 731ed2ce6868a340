#include "link/carrier.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "link/serialLine.h"

namespace {

// Most bytes read ahead before other links get their turn.
constexpr unsigned int burst = 256u << 10;
// Memory that an empty buffer keeps for the next bytes.
constexpr unsigned int keptRoom = 256u << 10;

// Settings that only some sockets have; the others refuse them, which does no harm.
void tuneSocket(int descriptor, std::chrono::seconds keepAlive) {
  auto const set = [descriptor](int level, int option, long long value) {
    auto const most = static_cast<long long>(std::numeric_limits<int>::max());
    int const number = static_cast<int>(std::clamp(value, 1LL, most));
    ::setsockopt(descriptor, level, option, &number, sizeof number);
  };
  constexpr int probes = 3;
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_NODELAY, 1);
  if (keepAlive.count() <= 0) return;
  set(IPPROTO_TCP, TCP_KEEPIDLE, keepAlive.count());
  set(IPPROTO_TCP, TCP_KEEPINTVL, keepAlive.count() / probes);
  set(IPPROTO_TCP, TCP_KEEPCNT, probes);
  set(IPPROTO_TCP, TCP_USER_TIMEOUT, keepAlive.count() * 2 * 1000);
}

bool isSocket(int descriptor) {
  int type = 0;
  socklen_t size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

bool wouldBlock(int code) { return code == EAGAIN || code == EWOULDBLOCK; }

// A slow line is not taken for a gone peer.
nk_carrier::tLimits withLineTime(nk_carrier::tLimits limits, int descriptor) {
  limits.patience += nk_lineBufferTime(descriptor);
  return limits;
}

}  // namespace

nk_carrier::nk_carrier(asio::io_context& io, int descriptor, tLimits const& limits) try
    : m_clock(nk_clock::of(io)),
      m_limits(withLineTime(limits, descriptor)),
      m_isSocket(isSocket(descriptor)),
      m_descriptor(io) {
  if (m_isSocket) tuneSocket(descriptor, limits.keepAlive);
  m_descriptor.assign(descriptor, m_error);
  if (m_error) {
    ::close(descriptor);
    return;
  }
  m_descriptor.native_non_blocking(true, m_error);
} catch (...) {  // only m_descriptor's own resources may be lacking, and it has taken nothing yet
  ::close(descriptor);
}

nk_carrier::~nk_carrier() = default;

void nk_carrier::start(std::function<void()> onEvent) {
  m_onEvent = std::move(onEvent);
  m_started = true;
  watchRead();
  watchWrite();
}

unsigned int nk_carrier::send(unsigned char const* data, unsigned int length, int& error) {
  if (length != 0 && !m_error) take(data, length);
  if (length == 0 || m_error) {
    error = m_error ? m_error.value() : EINVAL;
    return 0;
  }
  m_sent += length;
  return length;
}

// Writes directly if nothing is queued and buffers the rest.
void nk_carrier::take(unsigned char const* data, unsigned int length) {
  unsigned int written = 0;
  if (m_outgoing.empty()) {
    m_lastProgress = m_clock.now();
    written = writeSome(data, length);
  }
  if (m_error || written == length) return;
  if (!m_outgoing.append(data + written, length - written)) return fail(ENOMEM);
  watchWrite();
}

unsigned int nk_carrier::receive(unsigned char* data, unsigned int length) {
  auto const count = std::min(length, m_incoming.size());
  if (count == 0) return 0;
  std::copy_n(m_incoming.data(), count, data);
  m_incoming.slice(count);
  if (m_incoming.empty() && m_incoming.capacity() > keptRoom) m_incoming.release();
  m_received += count;
  watchRead();
  return count;
}

unsigned int nk_carrier::sendFor(nk_server*, void* ctx, unsigned char* data, unsigned int length,
                                 int* error) {
  int code = 0;
  auto const taken = static_cast<nk_carrier*>(ctx)->send(data, length, code);
  if (taken == 0 && error != nullptr) *error = code;
  return taken;
}

unsigned int nk_carrier::receiveFor(nk_server*, void* ctx, unsigned char* data, unsigned int length,
                                    int*) {
  return static_cast<nk_carrier*>(ctx)->receive(data, length);
}

void nk_carrier::finishSending() {
  if (m_error) return;
  auto const descriptor = m_descriptor.native_handle();
  auto const end = [&] {
    return m_isSocket ? ::shutdown(descriptor, SHUT_WR) : ::tcdrain(descriptor);
  };
  int result = end();
  while (result != 0 && errno == EINTR) result = end();
  if (result != 0) fail(errno);
}

unsigned int nk_carrier::unacknowledged() {
  int count = 0;  // TIOCOUTQ has the same number for sockets, where it is called SIOCOUTQ
  if (m_error || ::ioctl(m_descriptor.native_handle(), TIOCOUTQ, &count) != 0) return 0;
  return static_cast<unsigned int>(std::max(count, 0));
}

void nk_carrier::checkProgress() {
  if (!m_isSocket && !m_error) {
    flush();
    readAhead();
  }
  if (!m_outgoing.empty() && m_clock.now() - m_lastProgress > m_limits.patience) fail(ETIMEDOUT);
}

void nk_carrier::watchRead() {
  if (!m_started || m_readWatched || !mayRead()) return;
  m_readWatched = true;
  m_descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                          [this, alive = std::weak_ptr(m_alive)](std::error_code problem) {
                            if (alive.expired()) return;
                            m_readWatched = false;
                            problem ? fail(problem.value()) : readAhead();
                            watchRead();
                            m_onEvent();
                          });
}

void nk_carrier::watchWrite() {
  if (!m_started || m_writeWatched || m_error || m_outgoing.empty()) return;
  m_writeWatched = true;
  m_descriptor.async_wait(asio::posix::stream_descriptor::wait_write,
                          [this, alive = std::weak_ptr(m_alive)](std::error_code problem) {
                            if (alive.expired()) return;
                            m_writeWatched = false;
                            problem ? fail(problem.value()) : flush();
                            watchWrite();
                            m_onEvent();
                          });
}

bool nk_carrier::mayRead() const {
  return !m_error && !m_ended && m_incoming.size() < m_limits.buffered;
}

void nk_carrier::readAhead() {
  for (unsigned int sum = 0; sum < burst && mayRead();) {
    auto const room = std::min(m_limits.perCall, m_limits.buffered - m_incoming.size());
    auto const before = m_incoming.size();
    unsigned char* const target = m_incoming.extend(room);
    if (target == nullptr) return fail(ENOMEM);
    auto const count = ::read(m_descriptor.native_handle(), target, room);
    int const code = errno;
    auto const arrived = count > 0 ? static_cast<unsigned int>(count) : 0;
    m_incoming.truncate(before + arrived);
    sum += arrived;
    if (count == 0) m_ended = true;
    if (count >= 0 || code == EINTR) continue;
    if (!wouldBlock(code)) fail(code);
    return;
  }
}

void nk_carrier::flush() {
  while (!m_error && !m_outgoing.empty()) {
    auto const written = writeSome(m_outgoing.data(), m_outgoing.size());
    if (written == 0) return;
    m_outgoing.slice(written);
    m_lastProgress = m_clock.now();
  }
  if (m_outgoing.empty() && m_outgoing.capacity() > keptRoom) m_outgoing.release();
}

// The bytes that the system took in one call; 0 if it takes none now or the link broke.
unsigned int nk_carrier::writeSome(unsigned char const* data, unsigned int length) {
  auto const descriptor = m_descriptor.native_handle();
  auto const size = std::min(length, m_limits.perCall);
  for (;;) {
    auto const count =
        m_isSocket ? ::send(descriptor, data, size, MSG_NOSIGNAL) : ::write(descriptor, data, size);
    if (count >= 0) return static_cast<unsigned int>(count);
    if (errno == EINTR) continue;
    if (!wouldBlock(errno)) fail(errno);
    return 0;
  }
}

void nk_carrier::fail(int code) {
  if (!m_error) m_error.assign(code, std::system_category());
}
