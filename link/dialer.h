#pragma once

#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <system_error>

#include "link/clock.h"
#include "link/linkUrl.h"

/// Opens a link from the active side: connects a socket or opens a serial line. If that fails it
/// tries again, with exponential backoff.
///
/// Resolving a host name blocks until the system's resolver has answered. Everything else runs on
/// the thread that runs the io_context.
class nk_dialer {
 public:
  /// Pauses and limits, on the monotonic clock.
  using tDuration = std::chrono::milliseconds;
  /// When to try again and when to give up.
  struct tPlan {
    /// The pause before the second try.
    tDuration firstPause{50};
    /// Each further pause is twice as long, up to this. A link that stayed open for longer than
    /// this is stable: redial() begins with the first pause again.
    tDuration longestPause{1000};
    /// Give up after this long, aborting a try in progress. 0: one try, no limit. Unset: try
    /// forever.
    std::optional<tDuration> giveUp;
  };
  /// Called from the io_context, never from within a call of the dialer. They must not destroy the
  /// dialer.
  struct tReports {
    /// The link is open; `descriptor` is the receiver's to close.
    std::function<void(int descriptor)> opened;
    /// A try failed and another follows. May be empty.
    std::function<void(std::error_code)> failed;
    /// The last try failed. The reason is that of the last try that was not aborted.
    std::function<void(std::error_code)> gaveUp;
  };

  /// `io` is borrowed.
  nk_dialer(asio::io_context& io, nk_linkUrl url, tPlan const& plan, tReports reports);
  /// Ends all activity, as cancel() does.
  ~nk_dialer();
  nk_dialer(nk_dialer const&) = delete;
  nk_dialer& operator=(nk_dialer const&) = delete;

  /// Begins to dial. Reports follow.
  void dial();
  /// Dials again after a pause, which grows while links break soon after they were opened.
  void redial();
  /// Ends all activity. Nothing is reported after that.
  void cancel();

 private:
  using tSocket = asio::generic::stream_protocol::socket;

  void begin();
  tDuration nextPause();
  void attemptAfter(tDuration pause);
  void attempt();
  void attemptSocket();
  void giveUp();
  void done(int descriptor);
  void retry(std::error_code reason);

  asio::io_context& m_io;
  nk_clock& m_clock;
  nk_linkUrl const m_url;
  tPlan const m_plan;
  tReports const m_reports;
  std::shared_ptr<tSocket> m_socket;  // shared: Asio touches the socket after cancel()
  nk_timer m_pauseTimer;
  nk_timer m_giveUpTimer;
  tDuration m_pause;  // the next one
  nk_clock::tMoment m_opened{};
  bool m_lastTry = false;
  std::error_code m_reason;
  std::shared_ptr<char> m_alive;  // handlers hold a weak_ptr to this; replacing it cancels them
};
