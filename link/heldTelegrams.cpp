#include "link/heldTelegrams.h"

namespace {

// About what the lists take for one part, so that parts without payload have their price too.
constexpr unsigned int costPerPart = 256;

}  // namespace

void nk_heldTelegrams::add(nk_telegramPart const& part, tBlob const& frame, tMoment now,
                           std::vector<tBlob>& complete) {
  complete.clear();
  tPlace const held = place(part);
  if (held->frames.contains(part.partId())) {
    ++m_duplicates;
    return;
  }
  if (!fits(*held, part)) {
    ++m_refused;
    if (held->frames.empty()) remove(held);
    return;
  }
  m_held.splice(m_held.end(), m_held, held);
  unsigned int const room = m_maxBytes - held->bytes;
  if (frame.size() > room || costPerPart > room - frame.size()) return drop(held, m_refused);
  unsigned int const cost = frame.size() + costPerPart;
  // Before the part counts, so that the sum cannot wrap. This telegram is the last in the list.
  while (cost > m_maxBytes - m_bytes) drop(m_held.begin(), m_refused);
  tBlob& copy = held->frames[part.partId()];
  if (!copy.append(frame)) return drop(held, m_refused);
  held->bytes += cost;
  m_bytes += cost;
  held->grown = now;
  if (part.isLastPart()) held->last = part.partId();
  if (held->last == 0 || held->frames.size() != held->last) return;
  for (auto& [number, bytes] : held->frames) complete.push_back(std::move(bytes));
  remove(held);
}

// The part's telegram, new if there is none.
nk_heldTelegrams::tPlace nk_heldTelegrams::place(nk_telegramPart const& part) {
  tKey const key{part.sourceAddress(), part.destinationAddress(),
                 part.telegramId(),    part.timestamp(),
                 part.type(),          part.compression()};
  auto const found = m_byKey.find(key);
  if (found != m_byKey.end()) return found->second;
  tPlace const added = m_held.emplace(m_held.end());
  added->key = key;
  try {
    m_byKey.emplace(key, added);
  } catch (std::bad_alloc const&) {  // it would not be found any more
    m_held.erase(added);
    throw;
  }
  return added;
}

bool nk_heldTelegrams::fits(tHeld const& held, nk_telegramPart const& part) {
  unsigned int const number = part.partId();
  if (number == 0) return false;
  if (held.last != 0) return !part.isLastPart() && number < held.last;
  return !part.isLastPart() || held.frames.empty() || held.frames.rbegin()->first < number;
}

void nk_heldTelegrams::expire(tMoment now) {
  while (!m_held.empty() && now - m_held.front().grown >= m_expiry) drop(m_held.begin(), m_expired);
}

void nk_heldTelegrams::drop(tPlace held, unsigned long long& counter) {
  ++counter;
  remove(held);
}

void nk_heldTelegrams::remove(tPlace held) {
  m_bytes -= held->bytes;
  m_byKey.erase(held->key);
  m_held.erase(held);
}
