#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <system_error>

#include "link/linkUrl.h"

/// Accepts connections on a TCP port or a Unix socket.
/// Everything runs on the thread that runs the io_context.
class nk_listener {
 public:
  /// `io` is borrowed.
  explicit nk_listener(asio::io_context& io);
  nk_listener(nk_listener const&) = delete;
  nk_listener& operator=(nk_listener const&) = delete;
  /// As close().
  ~nk_listener();

  /// Listens at `url`, which is no serial line. A socket file that nobody listens to any more is
  /// replaced; one that is in use, or a file of another kind, is an error.
  std::error_code open(nk_linkUrl const& url);
  /// The address in use, with the port that the system chose if the one asked for was 0.
  nk_linkUrl const& url() const { return m_url; }
  /// True if it listens for TCP on another address than those of loopback.
  bool isOpenToOthers() const { return m_openToOthers; }
  /// Calls `accepted` from the io_context for each connection; the descriptor is the receiver's to
  /// close; it must not destroy the listener. If the system runs out of descriptors, connections
  /// wait until it has some again.
  void start(std::function<void(int descriptor)> accepted);
  /// Stops listening and removes the socket file.
  void close();

 private:
  std::error_code openTcp();
  std::error_code openUnix();
  template <class tAcceptor>
  std::error_code takeOver(tAcceptor& acceptor);
  void watch();
  void accept();
  void pause();
  void removeFile();

  nk_linkUrl m_url;
  asio::posix::stream_descriptor m_descriptor;
  asio::steady_timer m_pauseTimer;
  std::function<void(int)> m_accepted;
  bool m_ownsFile = false;
  bool m_openToOthers = false;
  // Handlers hold a weak pointer to it: they may be on their way when the listener is destroyed.
  std::shared_ptr<char> m_alive = std::make_shared<char>();
};
