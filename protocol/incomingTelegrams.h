#pragma once

#include <array>
#include <map>
#include <memory>

#include "nkProtocol/telegram.h"

/// The telegrams of several parts that an engine is receiving, at most one for each telegram id,
/// source and destination. Finding one costs O(log n), however many a hostile peer begins.
/// Not synchronised: the engine holds its incoming lock.
class nk_incomingTelegrams {
 public:
  /// The telegram that `part` belongs to; null if it is the first of a new one.
  nk_telegram* find(nk_basicTelegram const& part) const;
  /// Adds a telegram for which find gives null.
  void add(std::unique_ptr<nk_telegram> telegram);
  /// Deletes `telegram`, which `part` belongs to; false if it is not here any more.
  bool remove(nk_basicTelegram const& part, nk_telegram const* telegram);

 private:
  using tKey = std::array<unsigned int, 3>;
  static tKey key(nk_basicTelegram const& telegram);

  std::map<tKey, std::unique_ptr<nk_telegram>> m_telegrams;
};
