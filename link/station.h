#pragma once

#include <chrono>
#include <cstdarg>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "link/carrier.h"
#include "link/linkGuard.h"
#include "nkProtocol/basicTelegram.h"
#include "nkSupport/tBlob.h"

/// The asking end of one link: engine, guard and carrier on a polling thread of their own. Every
/// accepted request completes exactly once: answered (readably or not), sent (if it wants no
/// answer), timed out, not sent or cancelled. The engine alone reports nothing about requests that
/// could not be sent or were open when it was destroyed, and its timeouts follow the wall clock;
/// deadlines here follow the monotonic clock.
///
/// Threads: every function may be called from any thread and from completions. Completions run on
/// the polling thread, one at a time, without any lock held. They may do anything, even destroy the
/// station, but must not throw. While one runs the link stands still.
///
/// A completion may use the station until its destructor has returned. It must not reach it through
/// the owning unique_ptr, which is already null while the destructor runs.
///
/// The destructor completes all open requests as cancelled or not sent, then returns. Called from a
/// completion it runs the other completions itself; called elsewhere it waits for the polling
/// thread, so hold no lock that completions take. No other thread may call the station meanwhile.
class nk_station {
 public:
  /// Timeouts and patience, on the monotonic clock.
  using tDuration = std::chrono::milliseconds;
  /// When a request is given up: at the first limit that is reached. None is set by default.
  struct tTimeouts {
    tTimeouts() = default;
    /// A single duration limits the whole request.
    template <class Count, class Period>
    // NOLINTNEXTLINE(google-explicit-constructor): callers name one duration in any unit
    tTimeouts(std::chrono::duration<Count, Period> time) : whole(time) {}
    /// Limits pauses but not a transfer that moves.
    static tTimeouts ofProgress(tDuration stall, tDuration answer) {
      tTimeouts timeouts;
      timeouts.stall = stall;
      timeouts.answer = answer;
      return timeouts;
    }

    /// From the call to the end of the request.
    tDuration whole = tDuration::max();
    /// Until the system has taken the last byte of the request: longest time in which it takes no
    /// byte of the link, be it of this request or of others; counted from the call at the earliest.
    tDuration stall = tDuration::max();
    /// For the answer, from when the system has taken the last byte of the request; starts again
    /// when the peer's system takes bytes of the link, and with each frame of an answer.
    tDuration answer = tDuration::max();
    /// For the whole answer, from when the system has taken the last byte of the request; starts
    /// again only when the peer's system takes bytes of the link.
    tDuration wholeAnswer = tDuration::max();
  };

  /// How a request ended.
  enum teOutcome {
    OUTCOME_ANSWER,     ///< the first answer is in `content`
    OUTCOME_SENT,       ///< of tell() only: the system has taken all of it
    OUTCOME_TIMEOUT,    ///< it was sent, but no answer came in time; of tell(): sent in part
    OUTCOME_NOT_SENT,   ///< given up before a byte of it was sent; `reason` says why
    OUTCOME_DAMAGED,    ///< an answer came, but it has no content or cannot be decompressed
    OUTCOME_CANCELLED,  ///< given up after it was sent or begun; `reason` says why
  };
  /// What a completion is given.
  struct tResult {
    /// Decides which of the other members have a value.
    teOutcome outcome = OUTCOME_CANCELLED;
    /// Who answered.
    unsigned int address = nk_basicTelegram::addressNone;
    /// The answer, for the completion to keep or move away; empty if there is none.
    tBlob content;
    /// Why the request was given up: timed_out, operation_canceled (by cancel() or destruction),
    /// not_connected (the link was ended in order, by the peer or by finish()), invalid_argument
    /// (empty content cannot be sent), bad_message (with OUTCOME_DAMAGED), or the error that broke
    /// the link. No error with an answer, and when all was sent.
    std::error_code reason;
  };
  /// Called exactly once for each request accepted.
  using tDone = std::function<void(tResult&& result)>;
  /// Names a request; never given twice by one station.
  using tTicket = unsigned long long;
  /// The ticket of a request that was not accepted and so never completes.
  static constexpr tTicket refused = 0;

  /// What a station is made with.
  struct tOptions {
    /// The station's own address.
    unsigned int address = 1;
    /// Most requests that are accepted and not completed; more are refused.
    unsigned int maxOpen = 1024;
    /// Most bytes of content that are accepted and not sent; more are refused.
    unsigned int maxBytes = 64u << 20;
    /// The guard's cures; without a value all of them. In any case answers are checked and the
    /// clock is the station's.
    std::optional<nk_linkGuard::tOptions> guard;
    /// How long the peer may take nothing while bytes wait to be sent; then the link is over.
    tDuration patience{10000};
    /// As of nk_protocol; called on the polling thread.
    void (*logOutput)(void* context, char const* text) = nullptr;
    void* logContext = nullptr;
    /// Hook of nk_protocol::logProt, for the whole process: each station that is made replaces it.
    void (*logFcn)(char const* format, va_list arguments) = nullptr;
  };

  /// Takes ownership of `descriptor`, an open link, and starts the polling thread. Throws
  /// std::system_error or std::bad_alloc, with the descriptor closed, if the system lacks file
  /// descriptors, threads or memory. The polling thread throws nothing: if it runs out of memory or
  /// a completion throws, the program ends.
  nk_station(int descriptor, tOptions const& options);
  nk_station(nk_station const&) = delete;
  nk_station& operator=(nk_station const&) = delete;
  ~nk_station();

  /// Sends `content` and waits for an answer as long as `timeouts` allow. Requests are sent in the
  /// order of the calls. Takes `content` over unless it returns `refused`, which it does at once if
  /// the station has as many requests or bytes as it may, or is being destroyed.
  tTicket ask(tBlob&& content, unsigned int destination, tTimeouts const& timeouts, tDone done);
  /// Like the other ask(), with a future that is not valid() if the request was refused. Do not
  /// wait for it in a completion.
  std::future<tResult> ask(tBlob&& content, unsigned int destination, tTimeouts const& timeouts);
  /// Sends `content` as a request that wants no answer.
  tTicket tell(tBlob&& content, unsigned int destination, tTimeouts const& timeouts, tDone done);
  std::future<tResult> tell(tBlob&& content, unsigned int destination, tTimeouts const& timeouts);

  /// Gives the request up, unless it completes before the polling thread gets to that. A later
  /// answer is dropped.
  void cancel(tTicket ticket);
  /// Ends the link in order: sends what waits, tells the peer that nothing more follows and waits
  /// until the peer has ended its side too, for `patience` at most. Returns at once if called from
  /// a completion.
  void finish(tDuration patience);

  /// What the guard counted up to now.
  nk_linkGuard::tCounters guardCounters() const;

  /// Bytes that have gone out on the link, and whether the link is over.
  struct tTraffic {
    unsigned long long sent = 0;      ///< bytes handed to the link, since the start
    unsigned int waiting = 0;         ///< of these, bytes that the system has not taken yet
    unsigned int underWay = 0;        ///< bytes that the system has and the peer's system has not
    unsigned long long received = 0;  ///< bytes that came, whatever became of them
    /// Why the link is over; not_connected if the peer has ended it in order. No error before.
    std::error_code over;
  };
  /// The state of the link when bytes last moved.
  tTraffic traffic() const;

  /// The station without its thread; see link/stationCore.h.
  class tCore;

 private:
  std::shared_ptr<tCore> m_core;
  std::thread m_thread;
};
