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

/// The asking end of one link: engine, guard and carrier on a polling thread of their own, which
/// waits for the link and the next deadline. Every request that is accepted completes exactly once:
/// answered, sent (if it wants no answer), timed out, not sent or cancelled. The engine alone says
/// nothing of requests that could not be sent or that it had when it was destroyed, and its
/// time-outs follow the wall clock; deadlines here follow the monotonic clock.
///
/// Threads: every function may be called from any thread and from completions. Completions run on
/// the polling thread, one at a time, without any lock held; they may do anything, destroying the
/// station included, but must not throw, and while one runs the link stands still.
///
/// A completion may use the station until its destructor has returned; but a unique_ptr lets go of
/// it before, so completions should know it by a pointer or reference of their own.
///
/// Destruction completes all open requests as cancelled or not sent. When it returns they have
/// completed, and no completion runs any more but the one, if any, that the destructor was called
/// from: called from a completion it runs the others itself, called from elsewhere it waits for the
/// polling thread, so it must not be called with a lock held that completions take. As with any
/// object, no other thread may be about to call the station then.
class nk_station {
 public:
  /// Time-outs and patience, on the monotonic clock.
  using tDuration = std::chrono::milliseconds;

  /// How a request ended.
  enum teOutcome {
    OUTCOME_ANSWER,     ///< the first answer is in `content`
    OUTCOME_SENT,       ///< of tell() only: the system has taken all of it
    OUTCOME_TIMEOUT,    ///< it was sent, but no answer came in time; of tell(): sent in part
    OUTCOME_NOT_SENT,   ///< given up before a byte of it was sent; `reason` says why
    OUTCOME_CANCELLED,  ///< given up after it was sent or begun; `reason` says why
  };
  /// What a completion is given.
  struct tResult {
    /// Says which of the others have a value.
    teOutcome outcome = OUTCOME_CANCELLED;
    /// Who answered.
    unsigned int address = nk_basicTelegram::addressNone;
    /// The answer, for the completion to keep or move away; empty if there is none.
    tBlob content;
    /// Why it was given up: timed_out, operation_canceled (by cancel() or destruction),
    /// not_connected (the peer has ended the link in order), invalid_argument (empty content cannot
    /// be sent), or what broke the link. No error with an answer, and when all was sent.
    std::error_code reason;
  };
  /// Called exactly once for each request accepted.
  using tDone = std::function<void(tResult&& result)>;
  /// Names a request; never given twice by one station.
  using tTicket = unsigned long long;
  /// The ticket of a request that was refused: it was not accepted and completes never.
  static constexpr tTicket refused = 0;

  /// What a station is made with.
  struct tOptions {
    /// The station's own address.
    unsigned int address = 1;
    /// Requests accepted and not completed, and bytes of content accepted and not sent, that the
    /// station has at most; more is refused.
    unsigned int maxOpen = 1024;
    unsigned int maxBytes = 64u << 20;
    /// The guard's cures; without a value all of them. Answers are checked in any case.
    std::optional<nk_linkGuard::tOptions> guard;
    /// How long the peer may take nothing while bytes wait to be sent; then the link is over.
    tDuration patience{10000};
    /// As of nk_protocol; called on the polling thread.
    void (*logOutput)(void* context, char const* text) = nullptr;
    void* logContext = nullptr;
    /// Hook of nk_protocol::logProt, for the whole process: each station that is made replaces it.
    void (*logFcn)(char const* format, va_list arguments) = nullptr;
  };

  /// Takes `descriptor`, an open link, over and starts the polling thread. Throws std::system_error
  /// or std::bad_alloc, with the descriptor closed, if the system has no descriptor, thread or
  /// memory left for that. After that nothing is thrown out of the polling thread: where memory
  /// runs out there, the program ends, as it does where a completion throws.
  nk_station(int descriptor, tOptions const& options);
  nk_station(nk_station const&) = delete;
  nk_station& operator=(nk_station const&) = delete;
  ~nk_station();

  /// Sends `content` and waits for an answer until `timeout` has passed since this call. Requests
  /// are sent in the order of the calls. Takes `content` over unless it returns `refused`, which it
  /// does at once if the station has as many requests or bytes as it may, or is being destroyed.
  tTicket ask(tBlob&& content, unsigned int destination, tDuration timeout, tDone done);
  /// The same; the future is not valid() if the request was refused. Not to be waited for in a
  /// completion.
  std::future<tResult> ask(tBlob&& content, unsigned int destination, tDuration timeout);
  /// Sends `content` as a request that wants no answer.
  tTicket tell(tBlob&& content, unsigned int destination, tDuration timeout, tDone done);
  std::future<tResult> tell(tBlob&& content, unsigned int destination, tDuration timeout);

  /// Gives the request up, soon, unless it completes otherwise before that. An answer that comes
  /// later is dropped.
  void cancel(tTicket ticket);
  /// Ends the link in order once all that waits has gone out: tells the peer that nothing more will
  /// be sent, and waits until the peer has ended its side too, `patience` at most. Returns at once
  /// if called from a completion.
  void finish(tDuration patience);

  /// What the guard counted up to now.
  nk_linkGuard::tCounters guardCounters() const;

  /// What has gone out on the link, and whether the link is over.
  struct tTraffic {
    unsigned long long sent = 0;  ///< bytes of all telegrams that were begun
    unsigned int waiting = 0;     ///< of these, bytes that the system has not taken yet
    /// Why the link is over, not_connected if the peer has ended it in order; no error before.
    std::error_code over;
  };
  /// How the link is doing: as it was a moment ago, when bytes last moved.
  tTraffic traffic() const;

 private:
  class tCore;

  std::shared_ptr<tCore> m_core;
  std::thread m_thread;
};
