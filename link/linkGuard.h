#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "link/frameCutter.h"
#include "link/heldTelegrams.h"
#include "link/sentHeaders.h"

/// Stands between a link and the engine, and hands the engine only whole frames whose CRC holds.
/// So no noise can block the engine's stream, and no frame waits behind a damaged one. What else
/// it keeps from the engine can be switched on cure by cure: see tOptions.
///
///     bytes of the link -> receive() -> deliver -> nk_protocol::pushData, then poll
///     engine's send function -> the link; what the link took -> sent()
///
/// Threads: not synchronised and without a lock. All calls belong on the engine's polling thread,
/// and both callbacks, `deliver` and `now`, run on it, inside receive() or expire(); neither may
/// call receive() or destroy the guard. sent() is made for the engine's send function and so may
/// run with the engine's outgoing lock held; it calls nothing back.
///
/// Time is linear in bytes, but for a logarithm where something is looked up; memory is bounded by
/// the options, whatever the link brings. What memory is lacking for is lost as on a bad line.
class nk_linkGuard {
 public:
  /// Points of time of tOptions::now, and what lies between them.
  using tMoment = nk_heldTelegrams::tMoment;
  using tDuration = std::chrono::milliseconds;

  /// The cures, each for itself, and what they may cost.
  struct tOptions {
    /// Largest payload of a frame that is taken: what peers cut their content into.
    unsigned int maxPayload = 1u << 20;
    /// Drops frames that are neither for this address nor for all; without a value none.
    std::optional<unsigned int> address;
    /// Holds the frames of a telegram of several parts back until all are here and then delivers
    /// them in order, so that the engine never has to keep incomplete telegrams. The rule is that
    /// of nk_heldTelegrams.
    bool assemble = false;
    /// The most that `assemble` holds, what it takes to hold it included. The telegram that waited
    /// longest for a part makes room for others; a telegram that is larger by itself is refused.
    /// This suffices for the frames of 64 MiB of content in parts of 16 KiB and more.
    unsigned int maxHeld = 80u << 20;
    /// How long an incomplete telegram waits for its next part.
    tDuration expiry{30000};
    /// Drops answers to requests that sent() did not see, and from others than were asked. The
    /// answer to a broadcast may come from anyone.
    bool checkAnswers = false;
    /// How many requests are remembered for that; more push the oldest out.
    unsigned int maxAsked = 65536;
    /// Drops a frame that came before within this time, byte by byte the same. No engine sends a
    /// frame twice, some carriers do. 0 switches it off.
    tDuration duplicateWindow{0};
    /// How many frames are remembered for that; more push the oldest out.
    unsigned int maxRecent = 4096;
    /// The clock; it must never go back.
    std::function<tMoment()> now = std::chrono::steady_clock::now;

    /// All cures, for an engine with this address. Frames are known as duplicates for 2 seconds.
    static tOptions all(unsigned int address);
  };

  /// What became of the bytes received. Each byte is skipped, pending, or part of a frame that is
  /// held or counted in one of the others.
  struct tCounters {
    unsigned long long delivered = 0;     ///< frames handed on
    unsigned long long skippedBytes = 0;  ///< bytes that belong to no whole frame
    unsigned long long badFrames = 0;     ///< frames that do not decode or whose CRC does not hold
    unsigned long long largeFrames = 0;   ///< frames above maxPayload; their bytes are skipped
    unsigned long long foreign = 0;       ///< frames for other addresses
    unsigned long long strangers = 0;     ///< frames of answers that were not asked for
    unsigned long long duplicates = 0;    ///< frames that came before
    unsigned long long misfits = 0;       ///< parts that fit no telegram, going by their number
    unsigned long long expired = 0;       ///< incomplete telegrams that got no part in time
    unsigned long long refused = 0;       ///< telegrams dropped for lack of room or memory
    unsigned long long incomplete = 0;    ///< telegrams that lack parts at present
    /// Of the strangers the last one that answered in place of the peer that was asked.
    unsigned int wrongSender = nk_basicTelegram::addressNone;
  };

  /// Called with each frame for the engine, start and end byte included; the bytes hold during the
  /// call. The frames of a telegram of several parts come in calls one behind the other.
  using tDeliver = std::function<void(unsigned char* frame, unsigned int length)>;

  /// Begins with nothing held and all counters at 0. `deliver` must not be empty.
  nk_linkGuard(tOptions options, tDeliver deliver);
  nk_linkGuard(nk_linkGuard const&) = delete;
  nk_linkGuard& operator=(nk_linkGuard const&) = delete;

  /// Takes bytes that came from the link, however they are divided, and delivers what is complete.
  void receive(unsigned char const* data, unsigned int length);
  /// Takes note of bytes that the engine has sent. Needed for `checkAnswers` only.
  void sent(unsigned char const* data, unsigned int length);
  /// The id of the last request wanting an answer whose frames sent() has seen begin and remembers;
  /// and how many frames of such requests that were.
  unsigned int lastAsked() const { return m_lastAsked; }
  unsigned long long askedFrames() const { return m_askedFrames; }
  /// How many frames of answers have passed the cures: delivered, or held for the rest of them.
  unsigned long long answerFrames() const { return m_answerFrames; }
  /// Lets no more answers to the request `id` through.
  void forget(unsigned int id);
  /// Drops incomplete telegrams that have waited too long; receive() does so too. To be called now
  /// and then, for links that have gone quiet.
  void expire();

  /// Gives back memory that is kept for the next frame, if it is much. To be called now and then.
  void trim() { m_incoming.trim(); }

  /// The counts from construction until now.
  tCounters counters() const;
  /// Whole frames so far, whatever became of them: a peer that sends some is alive.
  unsigned long long frames() const { return m_incoming.frames(); }
  /// Bytes of the frame that has begun and has not ended.
  unsigned int begunBytes() const { return m_incoming.pending(); }
  /// Bytes of memory that incomplete frames and telegrams take at present, about.
  unsigned int heldBytes() const { return m_incoming.pending() + m_held.heldBytes(); }

 private:
  struct tAsked {
    unsigned int id;
    unsigned int destination;
  };
  using tFrameKey = std::array<unsigned int, 7>;
  struct tRecent {
    tMoment when;
    std::set<tFrameKey>::iterator key;
  };

  void take();
  bool isForeign(nk_telegramPart const& part) const;
  bool isStranger(nk_telegramPart const& part);
  bool isDuplicate();
  void forgetOldFrames();
  void remember(nk_telegramPart const& request);
  void deliver(tBlob& frame);

  tOptions const m_options;
  tDeliver const m_deliver;
  tMoment m_now{};
  nk_frameCutter m_incoming;
  nk_sentHeaders m_outgoing;
  nk_heldTelegrams m_held;
  std::vector<tBlob> m_complete;
  std::list<tAsked> m_asked;  // oldest first
  std::unordered_map<unsigned int, std::list<tAsked>::iterator> m_askedById;
  unsigned int m_lastAsked = 0;
  unsigned long long m_askedFrames = 0;
  unsigned long long m_answerFrames = 0;
  std::set<tFrameKey> m_recentKeys;
  std::deque<tRecent> m_recent;  // oldest first
  tCounters m_counters;
};
