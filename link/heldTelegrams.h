#pragma once

#include <array>
#include <chrono>
#include <list>
#include <map>
#include <vector>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// The frames of telegrams of several parts, until each telegram is complete. What is held has a
/// ceiling and an end: a telegram that gets no part for a while is dropped, and so is the one that
/// waited longest when room is needed, so that the remains of damaged telegrams never keep an
/// intact one out. Finding a telegram costs O(log n). Not synchronised.
class nk_heldTelegrams {
 public:
  using tMoment = std::chrono::steady_clock::time_point;

  /// At most `maxBytes` are held, frames and what it takes to hold them.
  nk_heldTelegrams(unsigned int maxBytes, std::chrono::milliseconds expiry)
      : m_maxBytes(maxBytes), m_expiry(expiry) {}

  /// Files a copy of the frame of `part`. If its telegram is complete with it, moves all frames of
  /// that telegram to `complete`, in the order of their numbers; otherwise leaves `complete` empty.
  void add(nk_telegramPart const& part, tBlob const& frame, tMoment now,
           std::vector<tBlob>& complete);
  /// Drops the telegrams that got no part for the time given.
  void expire(tMoment now);

  unsigned int heldBytes() const { return m_bytes; }
  /// Telegrams dropped so far by expire().
  unsigned long long expired() const { return m_expired; }
  /// Telegrams dropped so far for lack of room, and parts refused that fit no telegram.
  unsigned long long refused() const { return m_refused; }
  /// Parts dropped so far that were there already.
  unsigned long long duplicates() const { return m_duplicates; }

 private:
  // All that the parts of one telegram have in common: a peer that starts over numbers its
  // telegrams anew, and what is left of an old one must not get into a new one.
  using tKey = std::array<unsigned int, 6>;
  struct tHeld {
    tKey key{};
    std::map<unsigned int, tBlob> frames;  // by part number
    unsigned int last = 0;                 // number of the last part; 0 as long as it is not here
    unsigned int bytes = 0;
    tMoment grown{};
  };
  using tPlace = std::list<tHeld>::iterator;

  tPlace place(nk_telegramPart const& part);
  static bool fits(tHeld const& held, nk_telegramPart const& part);
  void drop(tPlace held, unsigned long long& counter);
  void remove(tPlace held);

  unsigned int const m_maxBytes;
  std::chrono::milliseconds const m_expiry;
  std::list<tHeld> m_held;  // the one that grew last stands last
  std::map<tKey, tPlace> m_byKey;
  unsigned int m_bytes = 0;
  unsigned long long m_expired = 0;
  unsigned long long m_refused = 0;
  unsigned long long m_duplicates = 0;
};
