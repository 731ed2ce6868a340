#include "protocol/incomingTelegrams.h"

#include <utility>

nk_incomingTelegrams::tKey nk_incomingTelegrams::key(nk_basicTelegram const& telegram) {
  return {telegram.telegramId(), telegram.sourceAddress(), telegram.destinationAddress()};
}

nk_telegram* nk_incomingTelegrams::find(nk_basicTelegram const& part) const {
  auto const found = m_telegrams.find(key(part));
  return found != m_telegrams.end() ? found->second.get() : nullptr;
}

void nk_incomingTelegrams::add(std::unique_ptr<nk_telegram> telegram) {
  m_telegrams.emplace(key(*telegram), std::move(telegram));
}

bool nk_incomingTelegrams::remove(nk_basicTelegram const& part, nk_telegram const* telegram) {
  if (find(part) != telegram) return false;
  m_telegrams.erase(key(part));
  return true;
}
