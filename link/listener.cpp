#include "link/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <asio/ip/tcp.hpp>
#include <asio/local/stream_protocol.hpp>
#include <cerrno>

#include "link/systemError.h"

namespace {

using tTcp = asio::ip::tcp;
using tUnix = asio::local::stream_protocol;

// The pause after the system had no descriptor or memory for another connection.
constexpr std::chrono::milliseconds shortagePause{100};

// A socket file without a listener behind it: its owner ended without removing it.
bool isStale(asio::any_io_executor const& executor, std::string const& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return false;
  tUnix::socket probe(executor);
  std::error_code error;
  probe.open(tUnix(), error);
  probe.non_blocking(true, error);  // an owner that is too busy to answer is there
  probe.connect(tUnix::endpoint(path), error);
  return error == asio::error::connection_refused;
}

template <class tProtocol>
std::error_code listenAt(asio::basic_socket_acceptor<tProtocol>& acceptor,
                         typename tProtocol::endpoint const& endpoint) {
  std::error_code error;
  acceptor.close(error);
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  return error;
}

}  // namespace

nk_listener::nk_listener(asio::io_context& io) : m_descriptor(io), m_pauseTimer(io) {}

nk_listener::~nk_listener() { removeFile(); }

std::error_code nk_listener::open(nk_linkUrl const& url) {
  close();
  m_url = url;
  m_openToOthers = false;
  return nk_systemError(url.kind == nk_linkUrl::KIND_TCP ? openTcp() : openUnix());
}

template <class tAcceptor>
std::error_code nk_listener::takeOver(tAcceptor& acceptor) {
  std::error_code error;
  int const descriptor = acceptor.release(error);
  if (!error) m_descriptor.assign(descriptor, error);
  // A connection may be gone again when it is to be accepted; that must not block.
  if (!error) m_descriptor.native_non_blocking(true, error);
  return error;
}

std::error_code nk_listener::openTcp() {
  tTcp::resolver resolver(m_descriptor.get_executor());
  std::error_code error;
  auto const found =
      resolver.resolve(m_url.host, std::to_string(m_url.port),
                       tTcp::resolver::passive | tTcp::resolver::numeric_service, error);
  if (error) return error;
  tTcp::acceptor acceptor(m_descriptor.get_executor());
  for (auto const& entry : found) {
    if (!(error = listenAt(acceptor, entry.endpoint()))) break;
  }
  auto const own = error ? tTcp::endpoint() : acceptor.local_endpoint(error);
  if (error) return error;
  m_url.port = own.port();
  m_openToOthers = !own.address().is_loopback();
  return takeOver(acceptor);
}

std::error_code nk_listener::openUnix() {
  auto const executor = m_descriptor.get_executor();
  if (isStale(executor, m_url.path)) ::unlink(m_url.path.c_str());
  tUnix::acceptor acceptor(executor);
  auto const error = listenAt(acceptor, tUnix::endpoint(m_url.path));
  if (error) return error;
  m_ownsFile = true;
  return takeOver(acceptor);
}

void nk_listener::start(std::function<void(int)> accepted) {
  m_accepted = std::move(accepted);
  watch();
}

void nk_listener::close() {
  std::error_code ignored;
  m_descriptor.close(ignored);
  m_pauseTimer.cancel();
  removeFile();
}

void nk_listener::removeFile() {
  if (m_ownsFile) ::unlink(m_url.path.c_str());
  m_ownsFile = false;
}

void nk_listener::watch() {
  m_descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                          [this, alive = std::weak_ptr(m_alive)](std::error_code problem) {
                            if (!alive.expired() && !problem && m_descriptor.is_open()) accept();
                          });
}

void nk_listener::accept() {
  int const descriptor = ::accept4(m_descriptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC);
  int const code = errno;
  if (descriptor >= 0) {
    m_accepted(descriptor);
  } else if (code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM) {
    return pause();
  }
  if (m_descriptor.is_open()) watch();
}

void nk_listener::pause() {
  m_pauseTimer.expires_after(shortagePause);
  m_pauseTimer.async_wait([this, alive = std::weak_ptr(m_alive)](std::error_code problem) {
    if (!alive.expired() && !problem && m_descriptor.is_open()) watch();
  });
}
