#include "nkProtocol/telegram.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <utility>

#include "nkSupport/tCompression.h"
#include "nkSupport/tTime.h"
#include "protocol/frame.h"
#include "protocol/partList.h"

namespace {
constexpr unsigned int retryPause_ms = 500;
constexpr unsigned char mostRetries = 4;
// Plain content up to this size is copied for the engine's callbacks, so that a further part can
// complete the telegram once more; a copy of larger content would cost too much time and memory.
constexpr unsigned int mostPlainCopied = 64 << 10;
}  // namespace

unsigned int nk_telegram::s_u32MaxPayloadSize = 0x100000;

void nk_telegram::setMaxPayloadSize(unsigned int bytes) {
  // Parts of no bytes would never use the content up.
  if (bytes != 0) s_u32MaxPayloadSize = bytes;
}

nk_telegram::nk_telegram(unsigned int id, unsigned int src, unsigned int dest, tBlob* content,
                         nk_responseCallback callback, void* context, bool isResponse,
                         void* userData, bool allowCompression)
    : nk_basicTelegram(src, dest, id, 0,
                       isResponse            ? TYPE_RESPONSE
                       : callback != nullptr ? TYPE_REQUEST_FORCE_RESPONSE
                                             : TYPE_REQUEST_NO_RESPONSE),
      m_compressionAllowed(allowCompression),
      m_receiver{callback, context, userData},
      m_created(tTime::now()) {
  m_timestamp = static_cast<unsigned int>(m_created);
  // PEER: content that is not compressed is consumed; callers reuse the empty blob.
  if (content != nullptr && !checkCompression(content, &m_payload)) m_payload.swap(*content);
}

nk_telegram::nk_telegram(nk_telegramPart* first) {
  if (first == nullptr) return;
  m_source = first->m_source;
  m_destination = first->m_destination;
  m_id = first->m_id;
  m_timestamp = first->m_timestamp;
  m_created = m_timestamp;
  m_type = first->m_type;
  m_compression = first->m_compression;
  addTelegramPart(first);
}

nk_telegram::~nk_telegram() = default;

bool nk_telegram::checkCompression(tBlob* content, tBlob* out) {
  if (content == nullptr || content->empty() || out == nullptr || !m_compressionAllowed) {
    return false;
  }
  // The same choice as encoding both ways and comparing, without encoding the loser.
  tBlob encoded;
  auto const choice = tCompression::chooseShortest(*content);
  if (choice == tCompression::CHOICE_RLE) {
    encoded = tCompression::encodeRLE(*content);
    m_compression = COMPRESSION_RLE;
  } else if (choice == tCompression::CHOICE_HUFFMAN) {
    encoded = tCompression::encodeHuffman(*content);
    m_compression = COMPRESSION_HUFF;
  }
  if (encoded.empty()) {  // nothing pays, or no memory was left for it
    m_compression = COMPRESSION_NONE;
    return false;
  }
  *out = std::move(encoded);
  return true;
}

// Calls `use` with the header of each part of an outgoing telegram, and where in m_payload its
// bytes are, until that gives false.
template <class Use>
bool nk_telegram::cutIntoParts(Use use) const {
  unsigned int partId = 0;
  for (unsigned int offset = 0; offset < m_payload.size();) {
    unsigned int const left = m_payload.size() - offset;
    unsigned int const size = std::min(left, m_partSize);
    nk_telegramPart part(m_id, m_source, m_destination, ++partId, m_timestamp, size == left,
                         nullptr, m_type, m_compression);
    if (!use(part, offset, size)) return false;
    offset += size;
  }
  return true;
}

// The parts are cut from the content as they are written: no copy of it is made before.
bool nk_telegram::writeFrames(nk_frameWriter& writer) const {
  if (m_parts != nullptr) return m_parts->writeFrames(writer);
  return cutIntoParts([&](nk_telegramPart& part, unsigned int offset, unsigned int size) {
    return writer.add(part, m_payload.data() + offset, size);
  });
}

bool nk_telegram::send(nk_server* server, void* ctx, nk_transferFunction sendFn) {
  nk_frameWriter writer;
  return send(server, ctx, sendFn, writer);
}

bool nk_telegram::send(nk_server* server, void* ctx, nk_transferFunction sendFn,
                       nk_frameWriter& writer) {
  if (sendFn == nullptr) return false;
  writer.clear();
  if (!writeFrames(writer)) return false;
  tBlob& frames = writer.frames();
  unsigned int offset = 0;
  int error = 0;
  while (offset != frames.size()) {
    unsigned int const remaining = frames.size() - offset;
    unsigned int const sent = sendFn(server, ctx, frames.data() + offset, remaining, &error);
    if (sent != 0) {
      offset += std::min(sent, remaining);
      m_retries = 0;
      continue;
    }
    ++m_retries;
    if (error != EAGAIN) break;
    tTime::sleep(retryPause_ms);
    if (m_retries > mostRetries) return false;
  }
  m_sent = offset == frames.size();
  return m_sent;
}

long long nk_telegram::timesOutAfter() const {
  using tLimits = std::numeric_limits<long long>;
  long long sum = 0;
  if (!__builtin_add_overflow(m_created, m_timeout_s, &sum)) return sum;
  return m_timeout_s > 0 ? tLimits::max() : tLimits::min();
}

bool nk_telegram::timeout() const { return timesOutAfter() < tTime::now(); }

void nk_responseReceiver::notifyResponse(unsigned int address, tBlob* content) const {
  if (callback != nullptr) callback(address, content, context, false, userData);
}

void nk_responseReceiver::notifyTimeout() const {
  if (callback != nullptr) {
    callback(nk_basicTelegram::addressNone, nullptr, context, true, userData);
  }
}

// Makes the list of parts unless there is one. It takes over the bytes to be sent, so that the
// payload is free for the joined content. False, with nothing changed, if memory runs out.
bool nk_telegram::listParts() {
  if (m_parts != nullptr) return true;
  try {
    auto parts = std::make_unique<nk_partList>();
    cutIntoParts([&](nk_telegramPart const& part, unsigned int offset, unsigned int size) {
      return parts->addHeader(part, offset, size), true;
    });
    parts->swapPayloads(m_payload);
    m_parts = std::move(parts);
    return true;
  } catch (std::bad_alloc const&) {
    return false;
  }
}

bool nk_telegram::addTelegramPart(nk_telegramPart* part) {
  if (part == nullptr || !listParts()) return false;
  try {
    return m_parts->add(*part);
  } catch (std::bad_alloc const&) {
    return false;
  }
}

// PEER: what counts is the part that came last; a last part that came early is not looked for.
bool nk_telegram::lastPartPresent() const {
  return m_parts != nullptr ? m_parts->endsWithLast() : !m_payload.empty();
}

bool nk_telegram::isCorrupt() { return m_parts != nullptr && !m_parts->sort(); }

tBlob* nk_telegram::getCompleteContent() {
  if (!listParts() || !m_parts->copyPayloads(m_payload)) return nullptr;
  deCompress();
  return &m_payload;
}

tBlob* nk_telegram::takeContent(tBlob& out) {
  bool const copied = (m_compression != COMPRESSION_NONE || m_parts->size() <= mostPlainCopied) &&
                      m_parts->copyPayloads(m_payload);
  if (!copied) m_parts->takePayloads(m_payload);
  deCompress();
  out = std::move(m_payload);
  return &out;
}

bool nk_telegram::sortTelegrams(nk_telegramPart*& a, nk_telegramPart*& b) {
  return a != nullptr && b != nullptr && a->m_partId > b->m_partId;
}
