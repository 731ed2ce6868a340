#pragma once

#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include "nkProtocol/telegram.h"

/// The telegrams that an engine has to send, and behind them, still in the order in which they were
/// queued, the requests that wait for their response. Each step costs O(1) however long it is.
/// Not synchronised: the engine holds its outgoing lock.
class nk_outgoingQueue {
 public:
  using tTelegram = std::unique_ptr<nk_telegram>;

  nk_outgoingQueue();
  void push(tTelegram telegram);
  /// The first telegram that is not sent yet, owned by the queue; null if there is none.
  nk_telegram* firstUnsent() const;
  /// Takes the first unsent telegram out of the queue.
  tTelegram takeFirstUnsent();
  /// Leaves the first unsent telegram, now sent, in the queue to wait for its response.
  void keepFirstUnsent();
  /// Takes out the sent telegrams that have timed out, in queue order. Walks the queue only when
  /// the clock has passed the earliest time-out in it: once a second at most.
  std::vector<tTelegram> takeTimedOut();
  /// Takes out the first telegram in queue order, sent or not, that waits for a response with this
  /// id; null if there is none.
  tTelegram takeWaiting(unsigned int id);

 private:
  struct tEntry {
    tTelegram telegram;
    unsigned long long number;  // counts the telegrams queued
  };
  using tPosition = std::list<tEntry>::iterator;

  tTelegram take(tPosition position);

  std::list<tEntry> m_entries;
  tPosition m_firstUnsent;
  std::unordered_multimap<unsigned int, tPosition> m_waitingById;
  unsigned long long m_count = 0;
  long long m_earliestTimeout;  // no sent telegram times out before the clock has passed this
};
