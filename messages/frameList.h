#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <unordered_map>
#include <vector>

#include "nkProtocol/configMessages.h"

/// The frames of a configuration in the order in which they were added. Finding a frame by id and
/// finding a free id use an index, since a peer can make the list 65526 frames long.
///
/// Whoever borrows a stored frame may give it another id at any time, even that of another frame.
/// So from the first lend() on, all searches walk the list, until clear() ends all borrowing.
/// Not synchronised, but for count(): the configuration holds its frame lock.
class nk_frameList {
 public:
  /// Ids below are reserved.
  static constexpr unsigned short firstId = 10;

  /// May be called by any thread at any time.
  unsigned int count() const { return m_count; }
  /// The frame at `index`; null past the end.
  tFrame const* get(unsigned int index) const;
  /// The same, for callers that may change the frame.
  tFrame* lend(unsigned int index);
  /// The first frame with this id; null if there is none.
  tFrame* getById(unsigned short id) const;
  /// Appends a frame whose id no frame has. Throws std::bad_alloc, with nothing changed.
  void add(tFrame const& frame);
  /// Deletes the first frame with this id; false if there is none.
  bool remove(unsigned short id);
  void clear();
  /// The first id from `candidate` on that no frame has; 0 follows 65535. 0 if all are taken.
  unsigned short freeId(unsigned short candidate) const;

 private:
  static constexpr unsigned int bitsPerWord = 64;
  using tIdBits = std::array<unsigned long long, 65536 / bitsPerWord>;  // a bit per id
  static void mark(tIdBits& ids, unsigned short id, bool used);
  static unsigned short firstFree(tIdBits const& ids, unsigned short candidate);

  std::vector<std::unique_ptr<tFrame>> m_frames;
  std::atomic<unsigned int> m_count{0};
  // The index: not kept up to date, nor looked at, while m_lent is set. Atomic, as frames are lent
  // without the lock.
  std::atomic<bool> m_lent{false};
  std::unordered_map<unsigned short, tFrame*> m_byId;
  tIdBits m_usedIds{};
};
