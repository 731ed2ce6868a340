#include "protocol/receivedParts.h"

#include <algorithm>
#include <new>

bool nk_receivedParts::add(nk_telegramPart& part) {
  if (m_taken) return false;
  tKey const key{part.partId(), part.destinationAddress(), part.sourceAddress()};
  if (m_parts.empty()) m_inOrder = {0, key[1], key[2]};
  bool const sameAddresses = key[1] == m_inOrder[1] && key[2] == m_inOrder[2];
  if (sameAddresses && key[0] >= 1 && key[0] <= m_inOrder[0]) return false;
  if (m_others.contains(key)) return false;

  unsigned int const offset = m_payloads.size();
  bool const isNext = sameAddresses && key[0] == m_inOrder[0] + 1;
  m_parts.push_back({key[0], offset, part.payload()->size(), part.isLastPart()});
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
  if (isNext) ++m_inOrder[0];
  return true;
}

// A stable sort gives the list that the exchange sort of tVector would, which takes quadratic time
// for parts in an order that a hostile peer can choose.
bool nk_receivedParts::sort() {
  auto const before = [](tPart const& a, tPart const& b) { return a.id < b.id; };
  if (!m_taken && !std::is_sorted(m_parts.begin(), m_parts.end(), before)) {
    std::stable_sort(m_parts.begin(), m_parts.end(), before);
    tBlob sorted;
    if (!sorted.reserve(m_payloads.size())) return false;
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

bool nk_receivedParts::takePayloads(tBlob& out) {
  if (m_taken) return false;
  m_taken = true;
  out.swap(m_payloads);
  m_payloads.release();
  return true;
}
