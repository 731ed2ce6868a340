#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <deque>
#include <future>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "link/linkedEngine.h"
#include "link/station.h"
#include "nkSupport/tCriticalSection.h"

/// What an nk_station and its polling thread share. accept(), the functions named request... and
/// guardCounters() and traffic() are for any thread; run() is the polling thread, and all else
/// belongs to it. The lock is held for moments only, never during a completion or a call of the
/// engine.
class nk_station::tCore {
 public:
  /// A descriptor until the link has taken it over.
  struct tOwned {
    ~tOwned();
    int take() { return std::exchange(descriptor, -1); }
    int descriptor;
  };
  /// Takes `descriptor` over, even if it throws.
  static std::shared_ptr<tCore> make(int descriptor, tOptions const& options);
  tCore(tOwned& descriptor, tOptions const& options);
  /// The setup is made before the descriptor is taken, which would be lost if making it threw.
  tCore(tOwned& descriptor, tOptions const& options, nk_linkedEngine::tSetup const& setup);

  /// Polls until shutDown().
  void run();
  /// Completes all open requests as cancelled, and ends run().
  void shutDown();

  tTicket accept(tBlob&& content, unsigned int destination, tDuration timeout, tDone done,
                 bool wantsAnswer);
  void requestShutDown();
  void requestCancel(tTicket ticket);
  std::future<void> requestFinish(tDuration patience);
  nk_linkGuard::tCounters guardCounters() const;
  tTraffic traffic() const;

 private:
  using tClock = std::chrono::steady_clock;
  using tMoment = tClock::time_point;

  struct tRequest {
    tTicket ticket;
    tBlob content;
    unsigned int bytes;  // of the content, as long as it has not been sent
    unsigned int destination;
    tMoment deadline;
    tDone done;
    bool wantsAnswer;
    bool sent = false;
    bool inEngine = false;             // the engine has a pointer to this
    bool givenUp = false;              // what the engine says of it no longer counts
    std::optional<unsigned int> id{};  // of the telegram, as far as the guard knows it
  };
  using tRequests = std::map<tTicket, tRequest>;
  struct tFinish {
    tMoment deadline;
    std::promise<void> done;
  };

  void round();
  void publish();
  void takeAccepted();
  void sendWaiting();
  void send(tRequest& request);
  void noteTold();
  void expire();
  std::error_code over() const;
  void checkLink();
  void checkFinish();
  void giveUp(std::vector<tTicket> const& tickets, teOutcome outcome, std::error_code reason);
  void withdraw(tRequest& request);
  void complete(tTicket ticket, tResult result);
  void runCompletions();
  void arm();
  static void answered(unsigned int address, tBlob* content, void* context, bool timedOut,
                       void* userData);

  tOptions const m_options;
  asio::io_context m_io;
  nk_linkedEngine m_link;
  asio::steady_timer m_timer;
  std::optional<tMoment> m_armed;  // when the timer will fire
  bool m_toldEnd = false;          // the peer knows that no more will be sent
  asio::executor_work_guard<asio::io_context::executor_type> m_work;

  tRequests m_requests;
  std::deque<tTicket> m_waiting;                              // not sent yet, in order
  std::deque<std::pair<tTicket, unsigned long long>> m_told;  // and the byte that ends each
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
