#include "protocol/partList.h"

#include <algorithm>
#include <new>

#include "protocol/frame.h"

nk_partList::tKey nk_partList::keyOf(nk_telegramPart const& part) {
  return {part.partId(), part.destinationAddress(), part.sourceAddress()};
}

// True if `key` is that of the part behind the last one that came in order.
bool nk_partList::continuesOrder(tKey const& key) const {
  if (m_parts.empty()) return key.number == 1;
  return key == tKey{m_inOrder.number + 1, m_inOrder.destination, m_inOrder.source};
}

bool nk_partList::contains(tKey const& key) const {
  if (m_parts.empty()) return false;
  bool const sameAddresses =
      key.destination == m_inOrder.destination && key.source == m_inOrder.source;
  if (sameAddresses && key.number >= 1 && key.number <= m_inOrder.number) return true;
  return m_others.contains(key);
}

bool nk_partList::add(nk_telegramPart& part) {
  if (contains(keyOf(part))) return false;
  tBlob const& payload = *part.payload();
  unsigned int const offset = m_payloads.size();
  if (m_taken) {
    addHeader(part, offset, 0);
    return true;
  }
  if (!m_payloads.reserve(offset + payload.size())) return false;
  addHeader(part, offset, payload.size());
  return m_payloads.append(payload);  // there is room for it
}

void nk_partList::addHeader(nk_telegramPart const& part, unsigned int offset, unsigned int size) {
  tKey const key = keyOf(part);
  bool const isNext = continuesOrder(key);
  bool const isFirst = m_parts.empty();
  m_parts.push_back({key.number, key.destination, key.source, part.telegramId(), part.timestamp(),
                     offset, size, part.type(), part.m_partInfo, part.compression()});
  try {
    if (!isNext) m_others.insert(key);
  } catch (std::bad_alloc const&) {
    m_parts.pop_back();
    throw;
  }
  if (isFirst) m_inOrder = {0, key.destination, key.source};
  if (isNext) ++m_inOrder.number;
}

// std::stable_sort gives the same order as the exchange sort of tVector, but a hostile peer cannot
// make it quadratic by the order in which it sends the parts.
bool nk_partList::sort() {
  auto const before = [](tPart const& a, tPart const& b) { return a.number < b.number; };
  if (!std::is_sorted(m_parts.begin(), m_parts.end(), before)) {
    tBlob sorted;
    if (!sorted.reserve(m_payloads.size())) return false;
    std::stable_sort(m_parts.begin(), m_parts.end(), before);
    for (tPart& part : m_parts) {
      unsigned char const* const bytes = m_payloads.data() + part.offset;
      part.offset = sorted.size();
      sorted.append(bytes, part.size);
    }
    m_payloads.swap(sorted);
  }
  unsigned int expected = 0;
  return std::all_of(m_parts.begin(), m_parts.end(),
                     [&expected](tPart const& part) { return part.number == ++expected; });
}

bool nk_partList::copyPayloads(tBlob& out) const {
  out.clear();
  return !m_taken && out.append(m_payloads);
}

bool nk_partList::writeFrames(nk_frameWriter& writer) const {
  return !m_taken && std::all_of(m_parts.begin(), m_parts.end(), [&](tPart const& stored) {
    nk_telegramPart part(stored.telegramId, stored.source, stored.destination, stored.number,
                         stored.timestamp, false, nullptr, stored.type, stored.compression);
    part.m_partInfo = stored.info;
    return writer.add(part, m_payloads.data() + stored.offset, stored.size);
  });
}

void nk_partList::takePayloads(tBlob& out) {
  m_taken = true;
  for (tPart& part : m_parts) part.offset = part.size = 0;
  out.swap(m_payloads);
  m_payloads.release();
}
