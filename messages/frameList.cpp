#include "messages/frameList.h"

#include <algorithm>
#include <bit>

tFrame const* nk_frameList::get(unsigned int index) const {
  return index < m_frames.size() ? m_frames[index].get() : nullptr;
}

tFrame* nk_frameList::lend(unsigned int index) {
  if (index >= m_frames.size()) return nullptr;
  m_lent = true;
  return m_frames[index].get();
}

tFrame* nk_frameList::getById(unsigned short id) const {
  if (!m_lent) {
    auto const found = m_byId.find(id);
    return found != m_byId.end() ? found->second : nullptr;
  }
  auto const found = std::find_if(m_frames.begin(), m_frames.end(),
                                  [id](auto const& entry) { return entry->id() == id; });
  return found != m_frames.end() ? found->get() : nullptr;
}

void nk_frameList::add(tFrame const& frame) {
  m_frames.push_back(std::make_unique<tFrame>(frame));
  try {
    m_byId[frame.id()] = m_frames.back().get();
  } catch (...) {
    m_frames.pop_back();
    throw;
  }
  mark(m_usedIds, frame.id(), true);
  ++m_count;
}

bool nk_frameList::remove(unsigned short id) {
  tFrame const* const frame = getById(id);
  if (frame == nullptr) return false;
  m_byId.erase(id);
  mark(m_usedIds, id, false);
  m_frames.erase(std::find_if(m_frames.begin(), m_frames.end(),
                              [frame](auto const& entry) { return entry.get() == frame; }));
  --m_count;
  return true;
}

void nk_frameList::clear() {
  m_frames.clear();
  m_count = 0;
  m_lent = false;
  m_byId.clear();
  m_usedIds.fill(0);
}

unsigned short nk_frameList::freeId(unsigned short candidate) const {
  if (!m_lent) return firstFree(m_usedIds, candidate);
  tIdBits ids{};
  for (auto const& frame : m_frames) mark(ids, frame->id(), true);
  return firstFree(ids, candidate);
}

unsigned short nk_frameList::firstFree(tIdBits const& ids, unsigned short candidate) {
  // Begins in the word of the candidate without the ids below it. These come last, behind 0.
  auto word = candidate / bitsPerWord;
  unsigned long long free = ~ids[word] & (~0ULL << (candidate % bitsPerWord));
  for (unsigned int searched = 0; free == 0; ++searched) {
    if (searched == ids.size()) return 0;
    word = (word + 1) % static_cast<unsigned int>(ids.size());
    free = ~ids[word];
  }
  auto const bit = static_cast<unsigned int>(std::countr_zero(free));
  return static_cast<unsigned short>(word * bitsPerWord + bit);
}

void nk_frameList::mark(tIdBits& ids, unsigned short id, bool used) {
  unsigned long long const bit = 1ULL << (id % bitsPerWord);
  unsigned long long& word = ids[id / bitsPerWord];
  word = used ? word | bit : word & ~bit;
}
