#include "link/linkGuard.h"

#include <new>
#include <string_view>

nk_linkGuard::tOptions nk_linkGuard::tOptions::all(unsigned int address) {
  tOptions options;
  options.address = address;
  options.assemble = true;
  options.checkAnswers = true;
  options.duplicateWindow = std::chrono::seconds(2);
  return options;
}

nk_linkGuard::nk_linkGuard(tOptions options, tDeliver deliver)
    : m_options(std::move(options)),
      m_deliver(std::move(deliver)),
      m_incoming(m_options.maxPayload),
      m_held(m_options.maxHeld, m_options.expiry) {}

void nk_linkGuard::receive(unsigned char const* data, unsigned int length) {
  expire();
  while (m_incoming.next(data, length)) {
    try {
      take();
    } catch (std::bad_alloc const&) {
      ++m_counters.refused;
    }
  }
}

void nk_linkGuard::expire() {
  m_now = m_options.now();
  m_held.expire(m_now);
  forgetOldFrames();
}

void nk_linkGuard::take() {
  auto const& part = m_incoming.part();
  if (isForeign(part)) {
    ++m_counters.foreign;
    return;
  }
  if (isStranger(part)) {
    ++m_counters.strangers;
    return;
  }
  if (isDuplicate()) {
    ++m_counters.duplicates;
    return;
  }
  if (part.isResponse()) ++m_answerFrames;
  bool const whole = part.partId() == 1 && part.isLastPart();
  if (whole || !m_options.assemble) return deliver(m_incoming.frame());
  m_held.add(part, m_incoming.frame(), m_now, m_complete);
  for (tBlob& frame : m_complete) {
    deliver(frame);
    frame.release();  // the engine has its own copy, and a telegram may be large
  }
  m_complete.clear();
}

void nk_linkGuard::deliver(tBlob& frame) {
  ++m_counters.delivered;
  m_deliver(frame.data(), frame.size());
}

bool nk_linkGuard::isForeign(nk_telegramPart const& part) const {
  unsigned int const to = part.destinationAddress();
  return m_options.address && to != *m_options.address && to != nk_basicTelegram::addressBroadcast;
}

bool nk_linkGuard::isStranger(nk_telegramPart const& part) {
  if (!m_options.checkAnswers || !part.isResponse()) return false;
  auto const found = m_askedById.find(part.telegramId());
  if (found == m_askedById.end()) return true;
  unsigned int const asked = found->second->destination;
  if (asked == nk_basicTelegram::addressBroadcast || asked == part.sourceAddress()) return false;
  m_counters.wrongSender = part.sourceAddress();
  return true;
}

bool nk_linkGuard::isDuplicate() {
  if (m_options.duplicateWindow <= tDuration::zero()) return false;
  auto const& part = m_incoming.part();
  tBlob const& frame = m_incoming.frame();
  auto const hash = std::hash<std::string_view>()(
      std::string_view(reinterpret_cast<char const*>(frame.data()), frame.size()));
  auto const [key, isNew] = m_recentKeys.insert({part.sourceAddress(), part.destinationAddress(),
                                                 part.telegramId(), part.partId(), part.timestamp(),
                                                 frame.size(), static_cast<unsigned int>(hash)});
  if (!isNew) return true;
  try {
    m_recent.push_back({m_now, key});
  } catch (std::bad_alloc const&) {  // it would be remembered for ever
    m_recentKeys.erase(key);
    throw;
  }
  forgetOldFrames();
  return false;
}

void nk_linkGuard::forgetOldFrames() {
  while (!m_recent.empty() && (m_recent.size() > m_options.maxRecent ||
                               m_now - m_recent.front().when > m_options.duplicateWindow)) {
    m_recentKeys.erase(m_recent.front().key);
    m_recent.pop_front();
  }
}

void nk_linkGuard::sent(unsigned char const* data, unsigned int length) {
  if (!m_options.checkAnswers) return;
  while (m_outgoing.next(data, length)) {
    auto const& part = m_outgoing.part();
    if (!part.isResponse() && !part.isRequestWithoutResponse()) remember(part);
  }
}

void nk_linkGuard::remember(nk_telegramPart const& request) {
  unsigned int const id = request.telegramId();
  auto const known = m_askedById.find(id);
  if (known != m_askedById.end()) {  // another part, or ids have gone round
    known->second->destination = request.destinationAddress();
  } else {
    try {
      m_asked.push_back({id, request.destinationAddress()});
      m_askedById.emplace(id, std::prev(m_asked.end()));
    } catch (std::bad_alloc const&) {  // its answer will not be known
      if (m_asked.size() != m_askedById.size()) m_asked.pop_back();
      return;
    }
    if (m_asked.size() > m_options.maxAsked) forget(m_asked.front().id);
  }
  m_lastAsked = id;
  ++m_askedFrames;
}

void nk_linkGuard::forget(unsigned int id) {
  auto const found = m_askedById.find(id);
  if (found == m_askedById.end()) return;
  m_asked.erase(found->second);
  m_askedById.erase(found);
}

nk_linkGuard::tCounters nk_linkGuard::counters() const {
  auto all = m_counters;
  all.skippedBytes = m_incoming.skippedBytes();
  all.badFrames = m_incoming.badFrames();
  all.largeFrames = m_incoming.largeFrames();
  all.duplicates += m_held.duplicates();
  all.misfits = m_held.misfits();
  all.expired = m_held.expired();
  all.refused += m_held.refused();
  all.incomplete = m_held.count();
  return all;
}
