#include "nkProtocol/telegram.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "nkSupport/tCompression.h"
#include "nkSupport/tTime.h"

namespace {
constexpr unsigned int retryPause_ms = 500;
constexpr unsigned char mostRetries = 4;
}  // namespace

unsigned int nk_telegram::s_u32MaxPayloadSize = 0x100000;

void nk_telegram::setMaxPayloadSize(unsigned int bytes) {
  // Parts of no bytes would never use the content up.
  if (bytes != 0) s_u32MaxPayloadSize = bytes;
}

nk_telegram::nk_telegram(unsigned int id, unsigned int src, unsigned int dest, tBlob* content,
                         nk_responseCallback callback, void* context, bool isResponse,
                         void* userData, bool allowCompression)
    : nk_basicTelegram(src, dest, id, static_cast<unsigned int>(tTime::now()),
                       isResponse            ? TYPE_RESPONSE
                       : callback != nullptr ? TYPE_REQUEST_FORCE_RESPONSE
                                             : TYPE_REQUEST_NO_RESPONSE),
      m_callback(callback),
      m_context(context),
      m_userData(userData),
      m_compressionAllowed(allowCompression) {
  tBlob compressed;
  if (checkCompression(content, &compressed)) {
    split(compressed);
  } else if (content != nullptr) {
    split(*content);
  }
}

nk_telegram::nk_telegram(nk_telegramPart* first) {
  if (first == nullptr) return;
  m_source = first->m_source;
  m_destination = first->m_destination;
  m_id = first->m_id;
  m_timestamp = first->m_timestamp;
  m_type = first->m_type;
  m_compression = first->m_compression;
  addTelegramPart(first);
}

nk_telegram::~nk_telegram() { dropParts(); }

void nk_telegram::dropParts() {
  for (nk_telegramPart* part : m_parts) delete part;
  m_parts.clear();
}

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

// Consumes `content`.
void nk_telegram::split(tBlob& content) {
  unsigned int partId = 0;
  while (!content.empty()) {
    unsigned int const size = std::min(content.size(), s_u32MaxPayloadSize);
    bool const last = size == content.size();
    m_parts.push_back(new nk_telegramPart(m_id, m_source, m_destination, ++partId, m_timestamp,
                                          last, nullptr, m_type, m_compression));
    tBlob& payload = *m_parts.back()->payload();
    if (last) {
      payload.swap(content);
    } else {
      payload.append(content.data(), size);
      content.slice(size);
    }
  }
}

bool nk_telegram::send(nk_server* server, void* ctx, nk_transferFunction sendFn) {
  tBlob frames;
  return send(server, ctx, sendFn, frames);
}

bool nk_telegram::send(nk_server* server, void* ctx, nk_transferFunction sendFn, tBlob& frames) {
  if (sendFn == nullptr) return false;
  frames.clear();
  for (nk_telegramPart* part : m_parts) {
    if (!part->serialize(&frames)) return false;
  }
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
  constexpr long long largest = std::numeric_limits<long long>::max();
  return m_timeout_s > largest - m_timestamp ? largest : m_timestamp + m_timeout_s;
}

bool nk_telegram::timeout() const { return timesOutAfter() < tTime::now(); }

void nk_telegram::notifyResponse(unsigned int address, tBlob* content) {
  if (m_callback != nullptr) m_callback(address, content, m_context, false, m_userData);
}

void nk_telegram::notifyTimeout() {
  if (m_callback != nullptr) m_callback(addressNone, nullptr, m_context, true, m_userData);
}

bool nk_telegram::addTelegramPart(nk_telegramPart* part) {
  if (part == nullptr) return false;
  // The keys of parts that come in order go to the end of the set, in constant time.
  auto const known = m_partKeys.size();
  m_partKeys.insert(m_partKeys.end(), {part->m_partId, part->m_destination, part->m_source});
  if (m_partKeys.size() == known) return false;
  m_parts.push_back(new nk_telegramPart(part));
  return true;
}

bool nk_telegram::lastPartPresent() const {
  return !m_parts.empty() && m_parts.back()->isLastPart();
}

bool nk_telegram::isCorrupt() {
  // The list that m_parts.sort(sortTelegrams) would give. That sort takes quadratic time for parts
  // in an order that a hostile peer can choose.
  auto const before = [](nk_telegramPart* a, nk_telegramPart* b) { return sortTelegrams(b, a); };
  if (!std::is_sorted(m_parts.begin(), m_parts.end(), before)) {
    std::stable_sort(m_parts.begin(), m_parts.end(), before);
  }
  unsigned int expected = 0;
  return !std::all_of(m_parts.begin(), m_parts.end(),
                      [&expected](nk_telegramPart* part) { return part->m_partId == ++expected; });
}

tBlob* nk_telegram::getCompleteContent() {
  unsigned long long size = 0;
  for (nk_telegramPart* part : m_parts) size += part->m_payload.size();
  m_payload.clear();
  if (size > tCompression::maxDecodedSize() ||
      !m_payload.reserve(static_cast<unsigned int>(size))) {
    return nullptr;
  }
  for (nk_telegramPart* part : m_parts) {
    m_payload.append(part->m_payload);
    part->m_payload.release();
  }
  deCompress();
  return decodingFailed() ? nullptr : &m_payload;
}

bool nk_telegram::sortTelegrams(nk_telegramPart*& a, nk_telegramPart*& b) {
  return a != nullptr && b != nullptr && a->m_partId > b->m_partId;
}
