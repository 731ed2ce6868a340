#pragma once

#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <system_error>

#include "link/linkUrl.h"

/// Opens a link from the active side: connects a socket, opens a serial line. If that fails it
/// tries again, with pauses that double from try to try.
///
/// Looking up a host name blocks until the system's resolver has answered. Everything else runs on
/// the thread that runs the io_context.
class nk_dialer {
 public:
  /// Pauses and limits; the monotonic clock measures them.
  using tDuration = std::chrono::milliseconds;
  /// When it tries again, and when no more.
  struct tPlan {
    /// The pause before the second try, and the longest that doubling leads to. A link that was
    /// open for longer than the longest pause makes redial() begin with the first again.
    tDuration firstPause{50};
    tDuration longestPause{1000};
    /// No further try after that time, and one in progress is given up; 0 allows a single try
    /// without a limit. Without a value it goes on for ever.
    std::optional<tDuration> giveUp;
  };
  /// What the dialer reports to, always from the io_context. They must not destroy the dialer.
  struct tReports {
    /// The link is open; `descriptor` is the receiver's to close.
    std::function<void(int descriptor)> opened;
    /// A try failed and another follows. May be empty.
    std::function<void(std::error_code)> failed;
    /// The last try failed; the reason is that of the last try that ended by itself.
    std::function<void(std::error_code)> gaveUp;
  };

  /// `io` is borrowed.
  nk_dialer(asio::io_context& io, nk_linkUrl url, tPlan const& plan, tReports reports);
  /// Ends all activity, as cancel() does.
  ~nk_dialer();
  nk_dialer(nk_dialer const&) = delete;
  nk_dialer& operator=(nk_dialer const&) = delete;

  /// Begins to dial; one of the reports follows.
  void dial();
  /// Dials again after a pause, which grows as long as links break soon after they were opened.
  void redial();
  /// Ends all activity; nothing is reported any more.
  void cancel();

 private:
  using tSocket = asio::generic::stream_protocol::socket;
  using tClock = std::chrono::steady_clock;

  void begin();
  void attempt();
  void attemptSocket();
  void done(int descriptor);
  void retry(std::error_code reason);
  void pauseAndAttempt();

  asio::io_context& m_io;
  nk_linkUrl const m_url;
  tPlan const m_plan;
  tReports const m_reports;
  std::shared_ptr<tSocket> m_socket;  // the library behind looks at it after it was cancelled
  asio::steady_timer m_pauseTimer;
  asio::steady_timer m_giveUpTimer;
  tDuration m_pause;
  tClock::time_point m_opened{};
  bool m_expired = false;
  std::error_code m_reason;
  // Handlers hold a weak pointer to it; another takes its place when they are to be ignored.
  std::shared_ptr<char> m_alive;
};
