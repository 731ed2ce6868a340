#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <unordered_map>
#include <vector>

#include "nkProtocol/configMessages.h"

/// The frames of a configuration in the order they were added, no two with the same id. Finding by
/// id and finding a free id do not walk the list, which a peer can make 65526 frames long.
/// Not synchronised, but for count(): the configuration holds its frame lock.
class nk_frameList {
 public:
  /// Ids below are reserved.
  static constexpr unsigned short firstId = 10;

  /// May be called by any thread at any time.
  unsigned int count() const { return m_count; }
  /// The frame at `index`; null past the end.
  tFrame* get(unsigned int index) const;
  /// The frame with this id; null if there is none.
  tFrame* getById(unsigned short id) const;
  /// Appends a frame whose id no frame has.
  void add(tFrame const& frame);
  bool remove(unsigned short id);
  void clear();
  /// The first id from `candidate` on, 65535 being followed by 0, that no frame has.
  unsigned short freeId(unsigned short candidate) const;

 private:
  static constexpr unsigned int bitsPerWord = 64;
  void markUsed(unsigned short id, bool used);

  std::vector<std::unique_ptr<tFrame>> m_frames;
  std::unordered_map<unsigned short, tFrame*> m_byId;
  std::array<unsigned long long, 65536 / bitsPerWord> m_usedIds{};  // a bit per id
  std::atomic<unsigned int> m_count{0};
};
