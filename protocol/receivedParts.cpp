#include "protocol/receivedParts.h"

#include <algorithm>
#include <new>

bool nk_receivedParts::add(nk_telegramPart& part) {
  if (m_taken) return false;
  tKey const key{part.partId(), part.destinationAddress(), part.sourceAddress()};
  if (m_parts.empty()) m_inOrder = {0, key.destination, key.source};
  bool const sameAddresses =
      key.destination == m_inOrder.destination && key.source == m_inOrder.source;
  if (sameAddresses && key.number >= 1 && key.number <= m_inOrder.number) return false;
  if (m_others.contains(key)) return false;

  unsigned int const offset = m_payloads.size();
  bool const isNext = sameAddresses && key.number == m_inOrder.number + 1;
  m_parts.push_back({key.number, offset, part.payload()->size(), part.isLastPart()});
  try {
    if (!isNext) m_others.insert(key);
  } catch (std::bad_alloc const&) {
    m_parts.pop_back();
    throw;
  }
  if (!m_payloads.append(*part.payload())) {
    m_others.erase(key);
    m_parts.pop_back();
    return false;
  }
  if (isNext) ++m_inOrder.number;
  return true;
}

// std::stable_sort gives the same order as the exchange sort of tVector, but a hostile peer cannot
// make it quadratic by the order in which it sends the parts.
bool nk_receivedParts::sort() {
  auto const before = [](tPart const& a, tPart const& b) { return a.id < b.id; };
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
                     [&expected](tPart const& part) { return part.id == ++expected; });
}

bool nk_receivedParts::copyPayloads(tBlob& out) const {
  out.clear();
  return out.append(m_payloads);
}

void nk_receivedParts::takePayloads(tBlob& out) {
  m_taken = true;
  out.swap(m_payloads);
  m_payloads.release();
}
