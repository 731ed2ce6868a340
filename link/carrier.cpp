#include "link/carrier.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "link/serialLine.h"

namespace {

// Most bytes read ahead before other links get their turn.
constexpr unsigned int burst = 256u << 10;
// How long to wait for readiness before looking anew: see checkProgress.
constexpr std::chrono::milliseconds longestWait{100};

// Settings that only some sockets have; the others refuse them, which does no harm.
void tuneSocket(int descriptor) {
  int const on = 1;
  ::setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
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
    : m_limits(withLineTime(limits, descriptor)),
      m_isSocket(isSocket(descriptor)),
      m_descriptor(io) {
  if (m_isSocket) tuneSocket(descriptor);
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
  auto const taken = length != 0 && waitForRoom() ? take(data, length) : 0;
  if (taken == 0) error = m_error ? m_error.value() : EINVAL;
  m_sent += taken;
  return taken;
}

// Gives the bytes to the system if none wait before them, otherwise to the buffer, which has room.
unsigned int nk_carrier::take(unsigned char const* data, unsigned int length) {
  if (m_outgoing.empty()) {
    m_lastProgress = tClock::now();
    auto const written = writeSome(data, length);
    if (written != 0 || m_error) return written;
  }
  auto const taken = std::min(length, m_limits.buffered - m_outgoing.size());
  if (!m_outgoing.append(data, taken)) {
    fail(ENOMEM);
    return 0;
  }
  watchWrite();
  return taken;
}

unsigned int nk_carrier::receive(unsigned char* data, unsigned int length) {
  auto const count = std::min(length, m_incoming.size());
  if (count == 0) return 0;
  std::copy_n(m_incoming.data(), count, data);
  m_incoming.slice(count);
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

void nk_carrier::checkProgress() {
  if (!m_isSocket && !m_error) {
    flush();
    readAhead();
  }
  if (!m_outgoing.empty() && tClock::now() - m_lastProgress > m_limits.patience) fail(ETIMEDOUT);
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
    m_lastProgress = tClock::now();
    if (!congested()) m_waited = {};
  }
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

bool nk_carrier::waitForRoom() {
  if (m_outgoing.size() < m_limits.buffered) return !m_error;
  auto lookedAt = tClock::now();
  while (!m_error && m_outgoing.size() >= m_limits.buffered) {
    auto const rest = std::chrono::ceil<std::chrono::milliseconds>(
        m_limits.patience - std::max(m_waited, lookedAt - m_lastProgress));
    if (rest.count() <= 0) {
      fail(ETIMEDOUT);
      break;
    }
    short const reading = mayRead() ? POLLIN : 0;
    pollfd wait{m_descriptor.native_handle(), static_cast<short>(POLLOUT | reading), 0};
    int const ready = ::poll(&wait, 1, static_cast<int>(std::min(rest, longestWait).count()));
    if (ready < 0 && errno != EINTR) fail(errno);
    auto const now = tClock::now();
    m_waited += now - std::exchange(lookedAt, now);
    if (ready < 0) continue;
    if (ready == 0 || (wait.revents & reading) != 0) readAhead();
    if (ready == 0 || (wait.revents & ~POLLIN) != 0) flush();
  }
  return !m_error;
}

void nk_carrier::fail(int code) {
  if (!m_error) m_error.assign(code, std::system_category());
}
