#pragma once

#include <asio/execution_context.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>

class nk_timer;

/// The monotonic time of one io_context, and what fires its timers. Everything that runs on an
/// io_context takes its time from there, so a test that installs a clock of its own, before
/// anything else is made on the io_context, moves all of it at once.
///
/// Threads: now() may be called from any thread, everything else only on the io_context's thread.
class nk_clock : public asio::execution_context::service {
 public:
  /// A point of the monotonic time.
  using tMoment = std::chrono::steady_clock::time_point;
  /// By which Asio tells this service from others.
  static inline asio::execution_context::id id;

  /// Made by of(), or by a test that installs a clock of its own. `io` is borrowed.
  explicit nk_clock(asio::execution_context& io) : service(io) {}
  /// The clock of `io`: the system's steady clock, unless another has been installed.
  static nk_clock& of(asio::io_context& io) { return asio::use_service<nk_clock>(io); }

  /// Never goes back.
  virtual tMoment now() const { return std::chrono::steady_clock::now(); }

 protected:
  friend class nk_timer;
  /// Called when `timer` is set. True if this clock is going to fire it, false to have the system
  /// do that.
  virtual bool keep(nk_timer& timer);
  /// Called when `timer` is cancelled or destroyed.
  virtual void drop(nk_timer& timer) noexcept;
  static tMoment due(nk_timer const& timer);
  static void fire(nk_timer& timer);

 private:
  void shutdown() override {}
};

/// Calls a function once, at a given time of the io_context's clock. It belongs to the io_context's
/// thread.
class nk_timer {
 public:
  /// A point of the monotonic time.
  using tMoment = nk_clock::tMoment;

  /// `io` is borrowed.
  explicit nk_timer(asio::io_context& io);
  /// Cancels.
  ~nk_timer();
  nk_timer(nk_timer const&) = delete;
  nk_timer& operator=(nk_timer const&) = delete;

  /// Calls `handler` from the io_context at `when`, or at once if that has passed, never from
  /// within this call. Replaces what was set before. The handler may set the timer again or destroy
  /// it.
  void at(tMoment when, std::function<void()> handler);
  void after(nk_clock::tMoment::duration delay, std::function<void()> handler);
  /// After this the handler is not called any more, even if it was due.
  void cancel() noexcept;

 private:
  friend class nk_clock;
  void fire();

  nk_clock& m_clock;
  asio::steady_timer m_timer;
  tMoment m_due{};
  // What is still to be called. Asio's handler holds a weak pointer, so letting go of it cancels.
  std::shared_ptr<std::function<void()>> m_handler;
};
