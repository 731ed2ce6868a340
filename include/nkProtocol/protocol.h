#pragma once

#include <atomic>
#include <cstdarg>
#include <memory>

#include "nkProtocol/export.h"
#include "nkProtocol/telegram.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tCriticalSection.h"
#include "nkSupport/tLog.h"

class nk_incomingTelegrams;
class nk_outgoingQueue;
class nk_frameReader;
class nk_frameWriter;

/// One protocol instance: an address of its own on a byte stream. The application hands it content
/// to send, feeds it the bytes that arrive, and calls poll() regularly; the engine calls back with
/// requests, answers and time-outs. It does no input or output of its own and starts no thread.
///
/// Threads: poll(), recvData(), pushData() and all callbacks but `logOutput` run on one thread, the
/// polling thread; enqueue_TS(), respond_TS() and setPayloadSize() may be called from any. Two
/// re-entrant locks, one for incoming telegrams and one for the outgoing queue, are never held
/// together. The send function and the response callbacks run with the outgoing lock held, so other
/// threads' enqueue_TS() waits for them; the receive callback runs without any lock. No callback
/// may delete the engine.
class NK_API nk_protocol : public tLog {
 public:
  /// Called for each complete request, broadcasts included. `content` is empty if the request could
  /// not be decompressed. It is the engine's, valid during the call, and serves both ways: what it
  /// holds on return is sent to `srcAddress` as the response; leave it empty to send none. A
  /// request that wants no response is answered all the same, so the application must know which
  /// requests it answers.
  using tReceiveCallback = void (*)(unsigned int srcAddress, tBlob* content, void* context);

  /// `recvCb` may be null: requests are then dropped. `context` is handed to it and to every
  /// response callback. `defaultTimeout_s` holds for requests enqueued with time-out 0.
  /// `logFcn` becomes the hook of logProt() for the whole process, null included. `logOutput` gets
  /// the engine's own messages, with `logContext`; null for none. It is called on the polling
  /// thread, and by respond_TS() on its caller's, partly with a lock held: it must take none that
  /// is held round a call of the engine. All are borrowed until the engine is destroyed.
  nk_protocol(unsigned int ownAddress, tReceiveCallback recvCb, void* context,
              unsigned int defaultTimeout_s, void (*logFcn)(char const* format, va_list arguments),
              void* logContext, void (*logOutput)(void* context, char const* text));
  /// Drops all telegrams; the callbacks of pending requests are not called.
  ~nk_protocol() override;

  /// Queues a request; the next poll sends it. `content` is consumed as nk_telegram says. With a
  /// `responseCb` the request wants a response and the callback gets `userData`; it is never called
  /// for a request that could not be sent or is pending when the engine is destroyed. `timeout_s`
  /// counts from this call, 0 stands for the default. Any thread.
  void enqueue_TS(tBlob* content, unsigned int destAddress, nk_responseCallback responseCb,
                  unsigned int timeout_s, void* userData);
  /// Queues a response to the request `telegramId` of `destAddress`; consumes `content`. Any
  /// thread.
  void respond_TS(tBlob* content, unsigned int destAddress, unsigned int telegramId);

  /// One round: sends what is queued, drops requests that timed out, reads the link, and handles
  /// all frames that have arrived. Either function may be null: without `sendFn` unsent telegrams
  /// are dropped, without `recvFn` nothing is read. Both get `server` and `ctx` as they are.
  void poll(nk_server* server, void* ctx, nk_transferFunction sendFn, nk_transferFunction recvFn);
  /// Reads all that `recvFn` offers, for the next poll to handle. Returns the number of bytes.
  unsigned int recvData(nk_server* server, void* ctx, nk_transferFunction recvFn);
  /// Adds bytes that came by other ways, for the next poll to handle. Null or 0 does nothing.
  void pushData(unsigned char* data, unsigned int length);

  /// Files one received part of a telegram of several. Returns the whole content once the last part
  /// is in, owned by `*complete`, which the engine keeps filed: poll() removes what it filed
  /// itself, what others file stays until the engine is destroyed. Otherwise null.
  /// Unless `part` is null, `*complete` is set in any case; `complete` must not be null.
  ///
  /// While poll() runs a callback, the telegram that it handles is still filed and takes further
  /// parts. It can be completed once more by a part marked as the last, unless its content is plain
  /// and larger than 64 KiB: that is handed to the callback without a copy, so such a part removes
  /// the telegram as one without content, and null is returned.
  tBlob* checkTlgPartMatch_TS(nk_telegramPart* part, nk_telegram** complete);
  /// Compacts both lists. They are kept compact all the time, so there is nothing to do; it stays
  /// for programs that call it.
  void eraseDeletedTelegrams_TS();

  /// Sets the largest payload of one part, in bytes, for all telegrams that this engine builds
  /// afterwards, requests and responses. What is queued already keeps its size. 0, as at the start,
  /// stands for the size of the process. Any thread, also in callbacks that may call enqueue_TS();
  /// takes the outgoing lock.
  void setPayloadSize(unsigned int bytes);
  /// nk_telegram::setMaxPayloadSize, for all engines without a size of their own.
  static void setMaxPayloadSize(unsigned int bytes);
  /// Hands a printf-style message to the hook of the engine constructed last, if it has one; for
  /// the layers above, the engine itself uses log().
  static void logProt(char const* format, ...) __attribute__((format(printf, 1, 2)));

  /// The id of the latest request of this process. Engines in several threads share it.
  static std::atomic<unsigned int> u32TlgNumber;

 private:
  void handleOutgoing(nk_server* server, void* ctx, nk_transferFunction sendFn);
  void sendTelegram(nk_telegram& telegram, nk_server* server, void* ctx, nk_transferFunction sendFn)
      NK_REQUIRES(m_outgoingLock);
  void handleStream();
  bool isForMe(nk_telegramPart const& part);
  tBlob* takeContent(nk_telegramPart& part, nk_telegram** complete, tBlob& joined);
  tBlob* matchPart(nk_telegramPart* part, nk_telegram** complete, tBlob* taken);
  tBlob* filePart(nk_telegramPart& part, nk_telegram** complete, tBlob* taken)
      NK_REQUIRES(m_incomingLock);
  void handleResponse(nk_telegramPart const& part, tBlob* content);
  void handleRequest(nk_telegramPart const& part, tBlob* content);
  void removeHandled(nk_telegramPart const& part, nk_telegram const* telegram);

  static std::atomic<void (*)(char const*, va_list)> m_pFcnLog;

  unsigned int const m_ownAddress;
  tCriticalSection m_incomingLock;
  std::unique_ptr<nk_incomingTelegrams> m_incoming NK_GUARDED_BY(m_incomingLock);
  tCriticalSection m_outgoingLock;
  std::unique_ptr<nk_outgoingQueue> m_outgoing NK_GUARDED_BY(m_outgoingLock);
  std::unique_ptr<nk_frameWriter> m_frameWriter NK_GUARDED_BY(m_outgoingLock);
  tReceiveCallback const m_receiveCallback;
  tBlob m_stream;  // received bytes that are not cut into frames yet; polling thread only
  std::unique_ptr<nk_frameReader> m_frameReader;
  bool m_newData = false;
  void* const m_context;
  unsigned int const m_defaultTimeout_s;
  bool const m_compressionAllowed = true;
};
