#pragma once

#include <list>
#include <unordered_map>
#include <vector>

#include "nkProtocol/telegram.h"

/// The telegrams that an engine has to send, and the requests that wait for their response. Once a
/// request is sent only what its answer needs is kept of it. Each step costs O(1) however many
/// there are. Not synchronised: the engine holds its outgoing lock.
class nk_outgoingQueue {
 public:
  nk_outgoingQueue();
  /// What a telegram is made of; see nk_telegram's constructor.
  struct tNew {
    unsigned int id;
    unsigned int source;
    unsigned int destination;
    tBlob* content;
    nk_responseCallback callback = nullptr;
    void* context = nullptr;
    bool isResponse = false;
    void* userData = nullptr;
    bool allowCompression = true;
    long long timeout_s = 0;  ///< counts only for a request with a callback
  };
  /// Sets the largest payload, in bytes, of the parts of telegrams pushed afterwards; 0 stands for
  /// nk_telegram::s_u32MaxPayloadSize.
  void setPartSize(unsigned int bytes) { m_partSize = bytes; }
  /// Appends a telegram. Throws std::bad_alloc, with the queue as it was, if memory runs out.
  void push(tNew const& telegram);
  /// The first telegram that is not sent yet, owned by the queue; null if there is none.
  nk_telegram* firstUnsent();
  /// Number of telegrams that are not sent yet.
  unsigned int unsentCount() const { return static_cast<unsigned int>(m_unsent.size()); }
  /// Removes the first unsent telegram; if it waits for a response nobody hears of that.
  void dropFirstUnsent();
  /// Removes the first unsent telegram, now sent, and waits for its response.
  void awaitFirstUnsent();

  struct tRequest {
    unsigned int id;
    unsigned long long number;  // counts the requests queued
    nk_responseReceiver receiver;
  };
  /// Takes out the sent requests that have timed out, in the order in which they were queued. Walks
  /// them all, but only when the clock has passed the earliest time-out: once a second at most.
  /// Those for which there is no memory stay for the next call.
  std::vector<tRequest> takeTimedOut();
  /// Takes out the first request queued, sent or not, that waits for a response with this id. False
  /// if there is none.
  bool takeWaiting(unsigned int id, nk_responseReceiver& receiver);

 private:
  struct tWaiting;
  struct tUnsent {
    explicit tUnsent(tNew const& from);

    nk_telegram telegram;
    tWaiting* waiting = nullptr;  // null if it wants no response
  };
  struct tWaiting {
    unsigned long long number;  // counts the requests queued
    nk_responseReceiver receiver;
    long long timesOutAfter;
    std::list<tUnsent>::iterator unsent;  // the end if it is sent
  };
  void addWaiting();
  using tWaitingById = std::unordered_multimap<unsigned int, tWaiting>;

  std::list<tUnsent> m_unsent;
  tWaitingById m_waiting;
  unsigned long long m_count = 0;
  unsigned int m_partSize = 0;
  long long m_earliestTimeout;  // no sent request times out before the clock has passed this
};
