#pragma once

#include <chrono>
#include <compare>
#include <functional>
#include <list>
#include <map>
#include <vector>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// Reassembly: holds the frames of telegrams of several parts until each telegram is complete.
/// docs/wire-format.md states the rule under "Telegrams"; all programs follow it by this class.
///
/// Memory is bounded. A telegram that gets no part for a while is dropped, and so is the one that
/// has waited longest when room is needed, so that the remains of damaged telegrams never keep an
/// intact one out. Finding a telegram costs O(log n). Not synchronised.
class nk_heldTelegrams {
 public:
  using tMoment = std::chrono::steady_clock::time_point;

  /// What the parts of one telegram have in common. A peer that restarts uses its ids again: the
  /// time stamp keeps what is left of an old telegram out of a new one.
  struct tHeader {
    unsigned int source = 0;
    unsigned int destination = 0;
    unsigned int id = 0;
    unsigned int timestamp = 0;
    nk_basicTelegram::teType type{};
    nk_basicTelegram::teCompression compression{};
    // NOLINTNEXTLINE(modernize-use-nullptr): there is no pointer
    auto operator<=>(tHeader const&) const = default;
  };
  /// What add() did with a part.
  enum teFate {
    FATE_HELD,        ///< kept
    FATE_HELD_APART,  ///< kept as the first part of its telegram, although parts of another
                      ///< telegram with the same addresses and id are held
    FATE_COMPLETE,    ///< it completed its telegram
    FATE_DUPLICATE,   ///< dropped: its number is there already
    FATE_MISFIT,      ///< dropped: number 0, beyond the last part, or a second last part
    FATE_TOO_LARGE,   ///< dropped with its telegram, which alone exceeds the room
  };
  /// An incomplete telegram that is dropped, and why.
  struct tDropped {
    enum teReason { EXPIRED, NO_ROOM, ENDED } reason;
    tHeader const& header;
    unsigned int parts;  ///< held
    unsigned int last;   ///< number of the last part; 0 if it has not come
  };
  using tOnDropped = std::function<void(tDropped const&)>;

  /// At most `maxBytes` are held: frames and an estimate of what it takes to keep them. `onDropped`
  /// may be empty; it must not call this object.
  nk_heldTelegrams(unsigned int maxBytes, std::chrono::milliseconds expiry,
                   tOnDropped onDropped = {})
      : m_maxBytes(maxBytes), m_expiry(expiry), m_onDropped(std::move(onDropped)) {}

  /// Files a copy of the frame of `part`. If its telegram is complete with it, moves all frames of
  /// that telegram to `complete`, in the order of their numbers; otherwise leaves `complete` empty.
  /// Throws std::bad_alloc if memory runs out.
  teFate add(nk_telegramPart const& part, tBlob const& frame, tMoment now,
             std::vector<tBlob>& complete);
  /// Drops the telegrams that got no part for the time given.
  void expire(tMoment now);
  /// Drops all telegrams, since nothing more comes.
  void end();

  unsigned int heldBytes() const { return m_bytes; }
  /// Telegrams that are incomplete at present.
  unsigned int count() const { return static_cast<unsigned int>(m_held.size()); }
  /// Telegrams dropped so far by expire(), and for lack of room.
  unsigned long long expired() const { return m_expired; }
  unsigned long long refused() const { return m_refused; }
  /// Parts dropped so far with these fates.
  unsigned long long misfits() const { return m_misfits; }
  unsigned long long duplicates() const { return m_duplicates; }

 private:
  struct tHeld;
  using tPlace = std::list<tHeld>::iterator;
  using tByHeader = std::map<tHeader, tPlace>;
  struct tHeld {
    tByHeader::iterator entry{};
    std::map<unsigned int, tBlob> frames{};  // by part number
    unsigned int last = 0;                   // number of the last part; 0 until it has come
    unsigned int bytes = 0;
    tMoment grown{};
  };

  tPlace place(nk_telegramPart const& part);
  bool isApart(tHeld const& held) const;
  static bool fits(tHeld const& held, nk_telegramPart const& part);
  bool makeRoom(tPlace held, unsigned int frameSize);
  void drop(tPlace held, tDropped::teReason reason);
  void remove(tPlace held);

  unsigned int const m_maxBytes;
  std::chrono::milliseconds const m_expiry;
  tOnDropped const m_onDropped;
  std::list<tHeld> m_held;  // the one that grew last stands last
  tByHeader m_byHeader;
  unsigned int m_bytes = 0;
  unsigned long long m_expired = 0;
  unsigned long long m_refused = 0;
  unsigned long long m_misfits = 0;
  unsigned long long m_duplicates = 0;
};
