#include "link/heldTelegrams.h"

namespace {

// About what the lists take for one part, so that parts without payload have their price too.
constexpr unsigned int costPerPart = 256;

}  // namespace

nk_heldTelegrams::teFate nk_heldTelegrams::add(nk_telegramPart const& part, tBlob const& frame,
                                               tMoment now, std::vector<tBlob>& complete) {
  complete.clear();
  tPlace const held = place(part);
  if (held->frames.contains(part.partId())) {
    ++m_duplicates;
    return FATE_DUPLICATE;
  }
  if (!fits(*held, part)) {
    ++m_misfits;
    if (held->frames.empty()) remove(held);
    return FATE_MISFIT;
  }
  m_held.splice(m_held.end(), m_held, held);
  bool const isFirst = held->frames.empty();
  if (!makeRoom(held, frame.size()) || !held->frames[part.partId()].append(frame)) {
    held->frames.erase(part.partId());
    drop(held, tDropped::NO_ROOM);
    return FATE_TOO_LARGE;
  }
  held->bytes += frame.size() + costPerPart;
  m_bytes += frame.size() + costPerPart;
  held->grown = now;
  if (part.isLastPart()) held->last = part.partId();
  if (held->frames.size() != held->last) {
    return isFirst && isApart(*held) ? FATE_HELD_APART : FATE_HELD;
  }
  for (auto& [number, bytes] : held->frames) complete.push_back(std::move(bytes));
  remove(held);
  return FATE_COMPLETE;
}

// The part's telegram, new if there is none.
nk_heldTelegrams::tPlace nk_heldTelegrams::place(nk_telegramPart const& part) {
  tHeader const header{part.sourceAddress(), part.destinationAddress(),
                       part.telegramId(),    part.timestamp(),
                       part.type(),          part.compression()};
  auto const [entry, isNew] = m_byHeader.try_emplace(header);
  if (!isNew) return entry->second;
  try {
    entry->second = m_held.insert(m_held.end(), tHeld{entry});
  } catch (std::bad_alloc const&) {
    m_byHeader.erase(entry);
    throw;
  }
  return entry->second;
}

bool nk_heldTelegrams::isApart(tHeld const& held) const {
  tHeader const& own = held.entry->first;
  auto const resembles = [&own](tByHeader::iterator const& entry) {
    tHeader const& other = entry->first;
    return own.source == other.source && own.destination == other.destination && own.id == other.id;
  };
  auto const next = std::next(held.entry);
  return (next != m_byHeader.end() && resembles(next)) ||
         (held.entry != m_byHeader.begin() && resembles(std::prev(held.entry)));
}

bool nk_heldTelegrams::fits(tHeld const& held, nk_telegramPart const& part) {
  unsigned int const number = part.partId();
  if (number == 0) return false;
  if (held.last != 0) return !part.isLastPart() && number < held.last;
  return !part.isLastPart() || held.frames.empty() || held.frames.rbegin()->first < number;
}

// Drops others for one more part of `held`, which is the last in the list. False if it is too large
// by itself. Compares before anything is added, so that no sum can wrap.
bool nk_heldTelegrams::makeRoom(tPlace held, unsigned int frameSize) {
  unsigned int const room = m_maxBytes - held->bytes;
  if (frameSize > room || costPerPart > room - frameSize) return false;
  while (frameSize + costPerPart > m_maxBytes - m_bytes) drop(m_held.begin(), tDropped::NO_ROOM);
  return true;
}

void nk_heldTelegrams::expire(tMoment now) {
  while (!m_held.empty() && now - m_held.front().grown >= m_expiry)
    drop(m_held.begin(), tDropped::EXPIRED);
}

void nk_heldTelegrams::end() {
  while (!m_held.empty()) drop(m_held.begin(), tDropped::ENDED);
}

void nk_heldTelegrams::drop(tPlace held, tDropped::teReason reason) {
  if (reason == tDropped::EXPIRED) ++m_expired;
  if (reason == tDropped::NO_ROOM) ++m_refused;
  if (m_onDropped) {
    auto const parts = static_cast<unsigned int>(held->frames.size());
    m_onDropped({reason, held->entry->first, parts, held->last});
  }
  remove(held);
}

void nk_heldTelegrams::remove(tPlace held) {
  m_bytes -= held->bytes;
  m_byHeader.erase(held->entry);
  m_held.erase(held);
}
