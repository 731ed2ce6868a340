#include "protocol/outgoingQueue.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "nkSupport/tTime.h"

namespace {
constexpr long long never = std::numeric_limits<long long>::max();
}

nk_outgoingQueue::nk_outgoingQueue() : m_firstUnsent(m_entries.end()), m_earliestTimeout(never) {}

void nk_outgoingQueue::push(tTelegram telegram) {
  bool const waits = telegram->waitForResponse();
  unsigned int const id = telegram->telegramId();
  auto const position = m_entries.insert(m_entries.end(), {std::move(telegram), m_count++});
  if (m_firstUnsent == m_entries.end()) m_firstUnsent = position;
  if (waits) m_waitingById.emplace(id, position);
}

nk_telegram* nk_outgoingQueue::firstUnsent() const {
  return m_firstUnsent != m_entries.end() ? m_firstUnsent->telegram.get() : nullptr;
}

nk_outgoingQueue::tTelegram nk_outgoingQueue::takeFirstUnsent() { return take(m_firstUnsent); }

void nk_outgoingQueue::keepFirstUnsent() {
  m_earliestTimeout = std::min(m_earliestTimeout, m_firstUnsent->telegram->timesOutAfter());
  ++m_firstUnsent;
}

std::vector<nk_outgoingQueue::tTelegram> nk_outgoingQueue::takeTimedOut() {
  std::vector<tTelegram> timedOut;
  if (tTime::now() <= m_earliestTimeout) return timedOut;
  m_earliestTimeout = never;
  for (auto position = m_entries.begin(); position != m_firstUnsent;) {
    auto const current = position++;
    if (current->telegram->timeout()) {
      timedOut.push_back(take(current));
    } else {
      m_earliestTimeout = std::min(m_earliestTimeout, current->telegram->timesOutAfter());
    }
  }
  return timedOut;
}

nk_outgoingQueue::tTelegram nk_outgoingQueue::takeWaiting(unsigned int id) {
  // Ids repeat only after 2^32 requests; then the one that was queued first is meant.
  auto const [begin, end] = m_waitingById.equal_range(id);
  auto const first = std::min_element(
      begin, end, [](auto const& a, auto const& b) { return a.second->number < b.second->number; });
  return first != end ? take(first->second) : nullptr;
}

nk_outgoingQueue::tTelegram nk_outgoingQueue::take(tPosition position) {
  tTelegram telegram = std::move(position->telegram);
  if (telegram->waitForResponse()) {
    auto const [begin, end] = m_waitingById.equal_range(telegram->telegramId());
    m_waitingById.erase(
        std::find_if(begin, end, [&](auto const& entry) { return entry.second == position; }));
  }
  if (m_firstUnsent == position) ++m_firstUnsent;
  m_entries.erase(position);
  return telegram;
}
