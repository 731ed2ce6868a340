#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <deque>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "link/clock.h"
#include "link/linkedEngine.h"
#include "link/station.h"
#include "nkSupport/tCriticalSection.h"

/// An nk_station without its thread: accepts requests, sends them over one link and completes each
/// exactly once. Time and everything else come from the io_context that it is given.
///
/// Threads: accept(), request...(), guardCounters() and traffic() may be called from any thread.
/// Everything else belongs to the thread that runs the io_context, and so do the completions. The
/// lock is held for moments only, never during a completion or a call of the engine.
class nk_station::tCore {
 public:
  /// A file descriptor until the link has taken it over.
  struct tOwned {
    ~tOwned();
    int take() { return std::exchange(descriptor, -1); }
    int descriptor;
  };
  /// `io` is borrowed.
  tCore(asio::io_context& io, tOwned& descriptor, tOptions const& options);

  /// Runs the io_context until shutDown().
  void run();
  /// Completes all open requests as cancelled or not sent, and ends run(). Nothing is accepted or
  /// completed after that.
  void shutDown();

  tTicket accept(tBlob&& content, unsigned int destination, tTimeouts const& timeouts, tDone done,
                 bool wantsAnswer);
  void requestShutDown();
  void requestCancel(tTicket ticket);
  std::future<void> requestFinish(tDuration patience);
  nk_linkGuard::tCounters guardCounters() const;
  tTraffic traffic() const;

 private:
  using tMoment = nk_clock::tMoment;

  struct tRequest {
    tTicket ticket;
    tBlob content;
    unsigned int bytes;  // of the content; 0 once it has been handed to the engine
    unsigned int destination;
    tTimeouts timeouts;
    tDone done;
    bool wantsAnswer;
    tMoment accepted;
    tMoment deadline;                  // its place in m_deadlines; may be earlier than deadlineOf()
    std::optional<tMoment> taken{};    // when the system had taken the last byte
    bool sent = false;                 // at least one byte has reached the carrier
    bool inEngine = false;             // the engine has a pointer to this
    bool givenUp = false;              // what the engine says of it no longer counts
    std::optional<unsigned int> id{};  // of the telegram, as far as the guard knows it
  };
  using tRequests = std::map<tTicket, tRequest>;
  struct tFinish {
    tMoment deadline;
    std::promise<void> done;
  };

  /// Takes `setup` ready-made: if building it throws, `descriptor` is still owned and gets closed.
  tCore(asio::io_context& io, tOwned& descriptor, tOptions const& options,
        nk_linkedEngine::tSetup const& setup);
  void post(std::function<void()> handler);
  void round();
  void publish();
  void takeAccepted();
  void sendWaiting();
  void send(tRequest& request);
  void noteSent(tRequest& request, std::optional<unsigned int> id);
  void noteProgress();
  tMoment deadlineOf(tRequest const& request) const;
  void setDeadline(tRequest& request);
  void expire();
  std::error_code over() const;
  void checkLink();
  void checkFinish();
  void giveUp(std::vector<tTicket> const& tickets, teOutcome outcome, std::error_code reason);
  void withdraw(tRequest& request);
  static void logThrough(void* context, char const* text);
  void complete(tTicket ticket, tResult result);
  void runCompletions();
  void arm();
  static void answered(unsigned int address, tBlob* content, void* context, bool timedOut,
                       void* userData);

  tOptions const m_options;
  asio::io_context& m_io;
  nk_clock& m_clock;
  bool m_withdrawing = false;  // the engine is being given answers that did not come
  nk_linkedEngine m_link;
  nk_timer m_timer;
  std::optional<tMoment> m_armed;  // when the timer will fire
  bool m_toldEnd = false;          // the peer knows that no more will be sent
  bool m_over = false;             // run() is to return
  asio::executor_work_guard<asio::io_context::executor_type> m_work;
  std::shared_ptr<char> m_alive = std::make_shared<char>();  // posted handlers hold weak pointers

  tRequests m_requests;
  std::deque<tTicket> m_waiting;                                 // not sent yet, in order
  std::deque<std::pair<tTicket, unsigned long long>> m_leaving;  // and the byte that ends each
  unsigned long long m_gone = 0;  // bytes of the link that the system has taken
  tMoment m_lastProgress{};       // when m_gone last grew
  // What the time for answers starts again with: bytes between the systems, frames of answers.
  unsigned int m_underWay = 0;            // bytes that the peer's system has not taken
  unsigned long long m_answerFrames = 0;  // of answers, that have come
  tMoment m_peerProgress{};               // when m_underWay last changed
  tMoment m_answerProgress{};             // when either last changed
  std::set<std::pair<tMoment, tTicket>> m_deadlines;
  std::deque<std::pair<tDone, tResult>> m_completed;  // to be called
  std::list<tRequests::node_type> m_lost;             // given up, but the engine kept the pointer
  std::list<tFinish> m_finish;

  mutable tCriticalSection m_lock;
  std::deque<tRequest> m_accepted NK_GUARDED_BY(m_lock);
  tTicket m_lastTicket NK_GUARDED_BY(m_lock) = refused;
  unsigned int m_open NK_GUARDED_BY(m_lock) = 0;
  unsigned int m_bytes NK_GUARDED_BY(m_lock) = 0;
  bool m_wakened NK_GUARDED_BY(m_lock) = false;
  bool m_closing NK_GUARDED_BY(m_lock) = false;
  nk_linkGuard::tCounters m_counters NK_GUARDED_BY(m_lock);
  tTraffic m_traffic NK_GUARDED_BY(m_lock);
};
