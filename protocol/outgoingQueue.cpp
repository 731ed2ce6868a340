#include "protocol/outgoingQueue.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

#include "nkSupport/tTime.h"

namespace {

constexpr long long never = std::numeric_limits<long long>::max();

// False if there is no memory for it.
template <class T>
bool append(std::vector<T>& list, T const& entry) {
  try {
    list.push_back(entry);
    return true;
  } catch (std::bad_alloc const&) {
    return false;
  }
}

}  // namespace

nk_outgoingQueue::nk_outgoingQueue() : m_earliestTimeout(never) {}

nk_outgoingQueue::tUnsent::tUnsent(tNew const& from)
    : telegram(from.id, from.source, from.destination, from.content, from.callback, from.context,
               from.isResponse, from.userData, from.allowCompression) {
  telegram.setTimeout_s(from.timeout_s);
}

void nk_outgoingQueue::push(tNew const& telegram) {
  m_unsent.emplace_back(telegram);
  nk_telegram& added = m_unsent.back().telegram;
  if (m_partSize != 0) added.m_partSize = m_partSize;
  if (added.waitForResponse()) addWaiting();
}

// Notes that the telegram at the end waits for its response.
void nk_outgoingQueue::addWaiting() {
  nk_telegram const& added = m_unsent.back().telegram;
  try {
    auto const waiting = m_waiting.emplace(
        added.telegramId(), tWaiting{m_count, added.receiver(), never, std::prev(m_unsent.end())});
    m_unsent.back().waiting = &waiting->second;
    ++m_count;
  } catch (std::bad_alloc const&) {
    m_unsent.pop_back();
    throw;
  }
}

nk_telegram* nk_outgoingQueue::firstUnsent() {
  return m_unsent.empty() ? nullptr : &m_unsent.front().telegram;
}

void nk_outgoingQueue::dropFirstUnsent() {
  tUnsent const& first = m_unsent.front();
  if (first.waiting != nullptr) {
    auto const [begin, end] = m_waiting.equal_range(first.telegram.telegramId());
    m_waiting.erase(std::find_if(
        begin, end, [&first](auto const& entry) { return &entry.second == first.waiting; }));
  }
  m_unsent.pop_front();
}

void nk_outgoingQueue::awaitFirstUnsent() {
  tUnsent const& first = m_unsent.front();
  first.waiting->timesOutAfter = first.telegram.timesOutAfter();
  first.waiting->unsent = m_unsent.end();
  m_earliestTimeout = std::min(m_earliestTimeout, first.waiting->timesOutAfter);
  m_unsent.pop_front();
}

std::vector<nk_outgoingQueue::tRequest> nk_outgoingQueue::takeTimedOut() {
  if (m_earliestTimeout == never) return {};
  long long const now = tTime::now();
  if (now <= m_earliestTimeout) return {};
  m_earliestTimeout = never;
  std::vector<tRequest> timedOut;
  for (auto entry = m_waiting.begin(); entry != m_waiting.end();) {
    auto const& [id, waiting] = *entry;
    if (waiting.timesOutAfter < now && append(timedOut, {id, waiting.number, waiting.receiver})) {
      entry = m_waiting.erase(entry);
    } else {
      m_earliestTimeout = std::min(m_earliestTimeout, waiting.timesOutAfter);
      ++entry;
    }
  }
  std::sort(timedOut.begin(), timedOut.end(),
            [](tRequest const& a, tRequest const& b) { return a.number < b.number; });
  return timedOut;
}

bool nk_outgoingQueue::takeWaiting(unsigned int id, nk_responseReceiver& receiver) {
  // Ids repeat only after 2^32 requests; then the one that was queued first is meant.
  auto const [begin, end] = m_waiting.equal_range(id);
  auto const first = std::min_element(
      begin, end, [](auto const& a, auto const& b) { return a.second.number < b.second.number; });
  if (first == end) return false;
  receiver = first->second.receiver;
  if (first->second.unsent != m_unsent.end()) m_unsent.erase(first->second.unsent);
  m_waiting.erase(first);
  return true;
}
