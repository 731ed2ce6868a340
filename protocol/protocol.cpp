#include "nkProtocol/protocol.h"

#include <algorithm>
#include <new>
#include <utility>

#include "protocol/frame.h"
#include "protocol/incomingTelegrams.h"
#include "protocol/outgoingQueue.h"

namespace {

// How much recvData asks the link for at once.
constexpr unsigned int readSize = 32768;

// The engine's log, in the order of a poll. Peers' tools search for these texts, oddities included.
constexpr char logQueueFailed[] = "prot: appending telegram to queue failed";
constexpr char logRespond[] = "prot: send response (id: %d; src: %d; dest: %d)";
constexpr char logTimedOut[] = "outgoing request timed out, notify timeout and remove (tid: %u)";
constexpr char logNoSendMethod[] = "can't send telegram, no send method, remove telegram";
constexpr char logSendFailed[] = "sending telegram failed, remove it (tid: %u)";
constexpr char logSentResponse[] = "send response telegram, remove it (tid: %d; src: %d; dest: %d)";
constexpr char logSentNoResponse[] =
    "send request without response required, remove it (tid: %d; src: %d; dest: %d)";
// PEER: the stray apostrophe belongs to the text.
constexpr char logSentRequest[] =
    "send request with response required, don't remove' (tid: %d; src: %d; dest: %d)";
constexpr char logData[] = "stream contains data";
constexpr char logBroadcast[] = "received broadcast telegram (tlg-id: %d)";
constexpr char logForMe[] = "received telegram for me (tlg-id: %d)";
constexpr char logForOthers[] =
    "received telegram is addressed to another instance (%d -> %d; own address: %d)";
constexpr char logSinglePart[] = "received single part telegram (tlg-id: %u)";
constexpr char logPartIncomplete[] = "received telegram is NOT complete now";
constexpr char logPartCorrupt[] = "received complete telegram is corrupt, remove it (tlg.-id: %u)";
constexpr char logPartComplete[] =
    "received telegram is now complete (tlg.-id: %u, content: %d bytes)";
constexpr char logPartNoContent[] =
    "received telegram is now complete, but has no content, remove it (tlg.-id: %u)";
constexpr char logNewContext[] = "received telegram part for new context (tlg.-id: %u)";
constexpr char logMultiComplete[] = "received telegram with multiple parts - complete (tlg-id: %u)";
constexpr char logMultiIncomplete[] =
    "received telegram with multiple parts - incomplete (tlg-id: %u)";
constexpr char logHandleResponse[] = "handle response (size %u)";
constexpr char logRemoveRequest[] = "remove request";
constexpr char logNoRequest[] = "did not find request for response";
constexpr char logNoResponse[] = "no response to request required";
constexpr char logHandled[] = "telegram handled, remove it (tlg-id: %d)";
constexpr char logCannotRemove[] = "telegram handled, but can't remove it (tlg-id: %d)";

// Most texts print ids and addresses as signed numbers.
int asSigned(unsigned int number) { return static_cast<int>(number); }

}  // namespace

std::atomic<unsigned int> nk_protocol::u32TlgNumber{0};
std::atomic<void (*)(char const*, va_list)> nk_protocol::m_pFcnLog{nullptr};

nk_protocol::nk_protocol(unsigned int ownAddress, tReceiveCallback recvCb, void* context,
                         unsigned int defaultTimeout_s,
                         void (*logFcn)(char const* format, va_list arguments), void* logContext,
                         void (*logOutput)(void* context, char const* text))
    : tLog(logContext, logOutput),
      m_ownAddress(ownAddress),
      m_incomingLock(true),
      m_incoming(std::make_unique<nk_incomingTelegrams>()),
      m_outgoingLock(true),
      m_outgoing(std::make_unique<nk_outgoingQueue>()),
      m_frameWriter(std::make_unique<nk_frameWriter>()),
      m_receiveCallback(recvCb),
      m_frameReader(std::make_unique<nk_frameReader>()),
      m_context(context),
      m_defaultTimeout_s(defaultTimeout_s) {
  m_pFcnLog = logFcn;
}

nk_protocol::~nk_protocol() {
  {
    tLockGuard guard(m_incomingLock);
    m_incoming.reset();
  }
  tLockGuard guard(m_outgoingLock);
  m_outgoing.reset();
}

void nk_protocol::setPayloadSize(unsigned int bytes) {
  tLockGuard guard(m_outgoingLock);
  m_outgoing->setPartSize(bytes);
}

void nk_protocol::setMaxPayloadSize(unsigned int bytes) { nk_telegram::setMaxPayloadSize(bytes); }

void nk_protocol::logProt(char const* format, ...) {
  auto const hook = m_pFcnLog.load();
  if (format == nullptr || hook == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  hook(format, arguments);
  va_end(arguments);
}

void nk_protocol::enqueue_TS(tBlob* content, unsigned int destAddress,
                             nk_responseCallback responseCb, unsigned int timeout_s,
                             void* userData) {
  tLockGuard guard(m_outgoingLock);
  unsigned int const id = ++u32TlgNumber;
  try {
    m_outgoing->push({.id = id,
                      .source = m_ownAddress,
                      .destination = destAddress,
                      .content = content,
                      .callback = responseCb,
                      .context = m_context,
                      .userData = userData,
                      .allowCompression = m_compressionAllowed,
                      .timeout_s = timeout_s != 0 ? timeout_s : m_defaultTimeout_s});
  } catch (std::bad_alloc const&) {
    log(logQueueFailed);
  }
}

void nk_protocol::respond_TS(tBlob* content, unsigned int destAddress, unsigned int telegramId) {
  tLockGuard guard(m_outgoingLock);
  log(logRespond, asSigned(telegramId), asSigned(m_ownAddress), asSigned(destAddress));
  try {
    m_outgoing->push({.id = telegramId,
                      .source = m_ownAddress,
                      .destination = destAddress,
                      .content = content,
                      .context = m_context,
                      .isResponse = true,
                      .allowCompression = m_compressionAllowed});
  } catch (std::bad_alloc const&) {
    log(logQueueFailed);
  }
}

void nk_protocol::poll(nk_server* server, void* ctx, nk_transferFunction sendFn,
                       nk_transferFunction recvFn) {
  handleOutgoing(server, ctx, sendFn);
  eraseDeletedTelegrams_TS();
  if (recvFn != nullptr) recvData(server, ctx, recvFn);
  if (m_newData) {
    m_newData = false;
    handleStream();
  }
  eraseDeletedTelegrams_TS();
}

// Sent telegrams stand ahead of unsent ones, so time-outs and then sending is the queue's order.
void nk_protocol::handleOutgoing(nk_server* server, void* ctx, nk_transferFunction sendFn) {
  tLockGuard guard(m_outgoingLock);
  for (auto const& request : m_outgoing->takeTimedOut()) {
    log(logTimedOut, request.id);
    request.receiver.notifyTimeout();
  }
  // What is queued meanwhile, by a log function say, waits for the next poll.
  for (unsigned int left = m_outgoing->unsentCount(); left != 0; --left) {
    nk_telegram* const telegram = m_outgoing->firstUnsent();
    if (telegram == nullptr) break;
    if (sendFn == nullptr) {
      log(logNoSendMethod);
      m_outgoing->dropFirstUnsent();
    } else {
      sendTelegram(*telegram, server, ctx, sendFn);
    }
  }
}

// Sends the first unsent telegram of the queue; takes it out unless it waits for a response.
void nk_protocol::sendTelegram(nk_telegram& telegram, nk_server* server, void* ctx,
                               nk_transferFunction sendFn) {
  bool const sent = telegram.send(server, ctx, sendFn, *m_frameWriter);
  int const id = asSigned(telegram.telegramId());
  int const source = asSigned(telegram.sourceAddress());
  int const destination = asSigned(telegram.destinationAddress());
  if (!sent) {
    log(logSendFailed, telegram.telegramId());
  } else if (telegram.isResponse()) {
    log(logSentResponse, id, source, destination);
  } else if (telegram.isRequestWithoutResponse()) {
    log(logSentNoResponse, id, source, destination);
  } else {
    log(logSentRequest, id, source, destination);
    m_outgoing->awaitFirstUnsent();
    return;
  }
  m_outgoing->dropFirstUnsent();
}

// Both lists lose their telegrams at once and keep no gaps; there is nothing left to collect.
void nk_protocol::eraseDeletedTelegrams_TS() {}

unsigned int nk_protocol::recvData(nk_server* server, void* ctx, nk_transferFunction recvFn) {
  if (recvFn == nullptr) return 0;
  // Not straight into the stream: the receive function may push data of its own.
  unsigned char buffer[readSize];
  unsigned int total = 0;
  unsigned int received = readSize;
  while (received == readSize) {
    received = std::min(recvFn(server, ctx, buffer, readSize, nullptr), readSize);
    if (!m_stream.append(buffer, received)) break;
    total += received;
  }
  if (total != 0) m_newData = true;
  return total;
}

void nk_protocol::pushData(unsigned char* data, unsigned int length) {
  if (data == nullptr || length == 0) return;
  m_stream.append(data, length);
  m_newData = true;
}

// PEER: the loop ends at the first invalid frame; what stands behind it waits for new bytes.
void nk_protocol::handleStream() {
  nk_telegramPart part;
  // Not in the telegram: that can be found corrupt and deleted while a callback has its content.
  tBlob joined;
  while (m_frameReader->next(m_stream, part)) {
    log(logData);
    if (!isForMe(part)) continue;
    nk_telegram* complete = nullptr;
    tBlob* const content = takeContent(part, &complete, joined);
    if (content == nullptr) continue;
    if (part.isResponse()) {
      handleResponse(part, content);
    } else {
      handleRequest(part, content);
    }
    if (complete != nullptr) removeHandled(part, complete);
    joined.release();
  }
  m_frameReader->recycle(m_stream, part);
}

bool nk_protocol::isForMe(nk_telegramPart const& part) {
  unsigned int const destination = part.destinationAddress();
  if (destination == nk_basicTelegram::addressBroadcast) {
    log(logBroadcast, asSigned(part.telegramId()));
    return true;
  }
  if (destination == m_ownAddress) {
    log(logForMe, asSigned(part.telegramId()));
    return true;
  }
  log(logForOthers, asSigned(part.sourceAddress()), asSigned(destination), asSigned(m_ownAddress));
  return false;
}

// The content that `part` completes, in the part or in `joined`; null if there is none yet.
tBlob* nk_protocol::takeContent(nk_telegramPart& part, nk_telegram** complete, tBlob& joined) {
  // PEER: content that cannot be decompressed is empty, and is handled like any other content.
  if (tBlob* const content = part.isSinglePartTelegram()) {
    log(logSinglePart, part.telegramId());
    return content;
  }
  tBlob* const content = matchPart(&part, complete, &joined);
  if (content != nullptr) {
    log(logMultiComplete, part.telegramId());
  } else {
    log(logMultiIncomplete, part.telegramId());
  }
  return content;
}

tBlob* nk_protocol::checkTlgPartMatch_TS(nk_telegramPart* part, nk_telegram** complete) {
  return matchPart(part, complete, nullptr);
}

// Whole content is moved to `taken`; if that is null, it is the telegram's.
tBlob* nk_protocol::matchPart(nk_telegramPart* part, nk_telegram** complete, tBlob* taken) {
  if (part == nullptr) return nullptr;
  *complete = nullptr;
  tLockGuard guard(m_incomingLock);
  try {
    return filePart(*part, complete, taken);
  } catch (std::bad_alloc const&) {
    return nullptr;  // the part is lost, as on a bad line
  }
}

tBlob* nk_protocol::filePart(nk_telegramPart& part, nk_telegram** complete, tBlob* taken) {
  nk_telegram* const telegram = m_incoming->find(part);
  // PEER: the first part of a telegram is never checked for completeness.
  if (telegram == nullptr) {
    log(logNewContext, part.telegramId());
    m_incoming->add(std::make_unique<nk_telegram>(&part));
    return nullptr;
  }
  if (!telegram->addTelegramPart(&part)) return nullptr;
  if (!telegram->lastPartPresent()) {
    log(logPartIncomplete);
    return nullptr;
  }
  if (telegram->isCorrupt()) {
    log(logPartCorrupt, part.telegramId());
    m_incoming->remove(part, telegram);
    return nullptr;
  }
  tBlob* const content =
      taken != nullptr ? telegram->takeContent(*taken) : telegram->getCompleteContent();
  if (content == nullptr) {  // no memory to join it, or the callback has its bytes
    log(logPartNoContent, part.telegramId());
    m_incoming->remove(part, telegram);
    return nullptr;
  }
  log(logPartComplete, part.telegramId(), asSigned(content->size()));
  *complete = telegram;
  return content;
}

void nk_protocol::handleResponse(nk_telegramPart const& part, tBlob* content) {
  {
    // PEER: the id alone decides; a response from another address than the one asked counts too.
    tLockGuard guard(m_outgoingLock);
    nk_responseReceiver receiver;
    if (m_outgoing->takeWaiting(part.telegramId(), receiver)) {
      log(logHandleResponse, content->size());
      receiver.notifyResponse(part.sourceAddress(), content);
      log(logRemoveRequest);
      return;
    }
  }
  log(logNoRequest);
}

void nk_protocol::handleRequest(nk_telegramPart const& part, tBlob* content) {
  if (m_receiveCallback == nullptr) return;
  m_receiveCallback(part.sourceAddress(), content, m_context);
  // PEER: content left behind is an answer, whether or not the request asked for one.
  if (content->empty()) {
    log(logNoResponse);
  } else {
    respond_TS(content, part.sourceAddress(), part.telegramId());
  }
}

void nk_protocol::removeHandled(nk_telegramPart const& part, nk_telegram const* telegram) {
  {
    tLockGuard guard(m_incomingLock);
    if (m_incoming->remove(part, telegram)) {
      log(logHandled, asSigned(part.telegramId()));
      return;
    }
  }
  log(logCannotRemove, asSigned(part.telegramId()));
}
