#include "messages/frameList.h"

#include <algorithm>
#include <bit>

tFrame* nk_frameList::get(unsigned int index) const {
  return index < m_frames.size() ? m_frames[index].get() : nullptr;
}

tFrame* nk_frameList::getById(unsigned short id) const {
  auto const found = m_byId.find(id);
  return found != m_byId.end() ? found->second : nullptr;
}

void nk_frameList::add(tFrame const& frame) {
  m_frames.push_back(std::make_unique<tFrame>(frame));
  m_byId[frame.id()] = m_frames.back().get();
  markUsed(frame.id(), true);
  ++m_count;
}

bool nk_frameList::remove(unsigned short id) {
  tFrame const* const frame = getById(id);
  if (frame == nullptr) return false;
  m_byId.erase(id);
  markUsed(id, false);
  m_frames.erase(std::find_if(m_frames.begin(), m_frames.end(),
                              [frame](auto const& entry) { return entry.get() == frame; }));
  --m_count;
  return true;
}

void nk_frameList::clear() {
  m_frames.clear();
  m_byId.clear();
  m_usedIds.fill(0);
  m_count = 0;
}

unsigned short nk_frameList::freeId(unsigned short candidate) const {
  if (m_byId.size() == 65536 - firstId) return 0;  // the search would end there, after a while
  // The word of the candidate first, without the ids below it; then whole words, round to 0.
  unsigned int word = candidate / bitsPerWord;
  unsigned long long free = ~m_usedIds[word] & (~0ULL << (candidate % bitsPerWord));
  while (free == 0) {
    word = (word + 1) % static_cast<unsigned int>(m_usedIds.size());
    free = ~m_usedIds[word];
  }
  return static_cast<unsigned short>(word * bitsPerWord +
                                     static_cast<unsigned int>(std::countr_zero(free)));
}

void nk_frameList::markUsed(unsigned short id, bool used) {
  unsigned long long const bit = 1ULL << (id % bitsPerWord);
  unsigned long long& word = m_usedIds[id / bitsPerWord];
  word = used ? word | bit : word & ~bit;
}
