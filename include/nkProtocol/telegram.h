#pragma once

#include <memory>

#include "nkProtocol/basicTelegram.h"
#include "nkProtocol/telegramPart.h"

/// Opaque to this library: a handle that the engine passes from poll to the send and receive
/// functions, for the application's use.
class nk_server;
class nk_frameWriter;
class nk_partList;

/// Moves bytes between an engine and its link. Sending: writes up to `length` bytes of `data` and
/// returns how many it took; on 0 it stores the reason in `*error`, EAGAIN (11) meaning try again.
/// Receiving: fills in up to `length` bytes and returns how many, 0 if nothing waits; `error` is
/// null then.
using nk_transferFunction = unsigned int (*)(nk_server* server, void* ctx, unsigned char* data,
                                             unsigned int length, int* error);

/// Called at most once per request, on the thread that polls, with the engine's outgoing lock held:
/// it may call enqueue_TS and respond_TS. With an answer: the address that answered and the
/// content, which is the engine's and valid during the call; content that could not be decompressed
/// is empty. With a time-out: 0xFFFFFFFF, null, and `timedOut` true.
using nk_responseCallback = void (*)(unsigned int address, tBlob* content, void* context,
                                     bool timedOut, void* userData);

/// Whom the answer to a request is for. The pointers are borrowed until the callback was called.
struct NK_API nk_responseReceiver {
  /// The function, and two pointers for it that the library does not look at. Null if no answer is
  /// wanted.
  nk_responseCallback callback = nullptr;
  void* context = nullptr;
  void* userData = nullptr;

  /// Call the callback, if any, with the answer or with the time-out.
  void notifyResponse(unsigned int address, tBlob* content) const;
  void notifyTimeout() const;
};

/// A whole telegram: on the sending side content cut into parts, kept until its answer comes; on
/// the receiving side the parts that have come so far.
/// Not synchronised: the engine holds the lock of the list that the telegram is in.
class NK_API nk_telegram : public nk_basicTelegram {
 public:
  /// Largest payload of one part in bytes; 1 MiB until changed.
  static unsigned int s_u32MaxPayloadSize;
  /// Sets s_u32MaxPayloadSize for all telegrams built afterwards in this process, but for those of
  /// engines with a size of their own (nk_protocol::setPayloadSize). To be called at start-up: it
  /// takes no lock. 0 is refused and changes nothing.
  static void setMaxPayloadSize(unsigned int bytes);

  /// An outgoing telegram. It is a response if `isResponse`, otherwise a request, which wants a
  /// response if there is a `callback`. The content is consumed: compressed if that makes it
  /// smaller, cut into parts, and `content` is empty afterwards if it was not compressed. Null
  /// counts as empty content, which makes no part.
  nk_telegram(unsigned int id, unsigned int src, unsigned int dest, tBlob* content,
              nk_responseCallback callback, void* context, bool isResponse, void* userData,
              bool allowCompression);
  /// A telegram being received, from the first of its parts to arrive, which is copied; without
  /// parts if memory runs out.
  explicit nk_telegram(nk_telegramPart* first);
  ~nk_telegram() override;

  /// If `content` gets strictly smaller by RLE or Huffman coding: stores the smallest form (RLE on
  /// a tie) in `out`, notes the compression and returns true. Otherwise false.
  bool checkCompression(tBlob* content, tBlob* out);

  /// Writes the frames of all parts through `sendFn`, those of a telegram being received as they
  /// came. After a zero return with EAGAIN it pauses 500 ms and tries
  /// again; after the fifth in a row it gives up, behind a last pause. True if every byte went out.
  bool send(nk_server* server, void* ctx, nk_transferFunction sendFn);
  // PEER: the spelling is part of the interface that programs are built against.
  /// True once send() has written every byte.
  bool hasBeenSend() const { return m_sent; }
  /// True if `address`, the engine's own, is the one that the telegram comes from.
  bool isOutgoingRequest(unsigned int address) const { return address == m_source; }
  /// True if the receiver has a callback: an answer or the time-out is to be reported to it.
  bool waitForResponse() const { return m_receiver.callback != nullptr; }
  /// Whom the answer is for; without callback in responses and in telegrams being received.
  nk_responseReceiver const& receiver() const { return m_receiver; }

  /// How long to wait for the answer, from when the telegram was made, whose timestamp has the low
  /// 32 bits of that moment; 10 s until set.
  void setTimeout_s(long long seconds) { m_timeout_s = seconds; }
  /// True once more than the time-out has passed since the telegram was made, on the clock of
  /// tTime::now().
  bool timeout() const;
  /// The time, as tTime::now() counts, that timeout() compares the clock with; the largest number
  /// if that lies beyond it.
  long long timesOutAfter() const;
  /// nk_responseReceiver's.
  void notifyResponse(unsigned int address, tBlob* content) {
    m_receiver.notifyResponse(address, content);
  }
  void notifyTimeout() { m_receiver.notifyTimeout(); }

  /// The list of parts. An outgoing telegram has its own in it, numbered from 1; what is changed
  /// here changes what send() writes.
  ///
  /// Files a copy of `part` at the end. False for null, for a part that is already there (same
  /// number, source and destination), and if memory runs out.
  bool addTelegramPart(nk_telegramPart* part);
  /// True if the part at the end of the list is marked as the last.
  bool lastPartPresent() const;
  /// Sorts the parts by number; true if the numbers are not 1, 2, 3 and so on.
  bool isCorrupt();
  /// Joins the payloads of all parts in list order, decompresses the result and returns it, owned
  /// by the telegram and valid until the next call. Each call joins anew, whatever was done to the
  /// content before. Content that cannot be decompressed is empty. Null if memory runs out.
  tBlob* getCompleteContent();
  /// Comparator for tVector::sort: ascending part numbers.
  static bool sortTelegrams(nk_telegramPart*& a, nk_telegramPart*& b);

 private:
  friend class nk_outgoingQueue;
  friend class nk_protocol;
  bool send(nk_server* server, void* ctx, nk_transferFunction sendFn, nk_frameWriter& writer);
  template <class Use>
  bool cutIntoParts(Use use) const;
  bool writeFrames(nk_frameWriter& writer) const;
  bool listParts();
  // Moves what getCompleteContent() gives to `out` and returns `out`, for the engine. Plain content
  // of more than 64 KiB is not copied: the parts cannot be joined afterwards.
  tBlob* takeContent(tBlob& out);

  bool m_sent = false;
  unsigned char m_retries = 0;
  bool m_compressionAllowed = true;
  nk_responseReceiver m_receiver;
  long long m_created = 0;  // in full: the timestamp has the low 32 bits only
  long long m_timeout_s = 10;
  // Most payload bytes of a part to be sent; parts of none would never end.
  unsigned int m_partSize = s_u32MaxPayloadSize != 0 ? s_u32MaxPayloadSize : 1;
  // Null in an outgoing telegram whose list of parts was not asked for: m_payload is what it sends.
  std::unique_ptr<nk_partList> m_parts;
};
