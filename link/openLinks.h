#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "link/linkedEngine.h"
#include "link/peer.h"

/// The links that a listening program has open, each with an engine behind a guard: decides who
/// gets in, and which link has to go so that no peer keeps the others out.
///
/// - A connection that brings no whole frame within `firstFrame` ends, unless a frame is arriving.
/// - When all places are taken, one connection gives way to the new one: the oldest that never
///   brought a whole frame; without such the one whose last whole frame is oldest, if that was at
///   least `rest` ago and nothing waits to be sent to it. Connections on which a frame is arriving
///   do not give way. If there is none, the new one is refused. A new connection that sends nothing
///   never displaces an active one, and is itself the next to be closed.
/// - A frame is arriving while it grows by `leastGrowth` on average: each KiB pays for one second,
///   and time is never paid in advance. Of frames that turn out damaged, only bytes beyond the
///   length of the longest one before count, so even a peer that sends nothing but damaged frames
///   must end: after 20 minutes at most with frames of 1 MiB.
/// - One origin has `perOrigin` places at most. When it has these, one of its own connections gives
///   way by the same rule.
/// - All links together hold `held` bytes of memory at most. Above that the link that holds most
///   ends.
///
/// Links without an origin (serial lines) have no time limit and no quota.
///
/// Everything runs on the thread that runs the io_context, and on its nk_clock, guards included.
class nk_openLinks {
 public:
  /// Points of the io_context's time, and what lies between them.
  using tMoment = nk_clock::tMoment;
  using tDuration = std::chrono::milliseconds;

  /// Bytes per second by which a frame must grow to count as arriving. Slower than any network that
  /// serves a panel, and for an attacker no cheaper than sending whole frames.
  static constexpr unsigned int leastGrowth = 1024;

  /// See above.
  struct tLimits {
    unsigned int links = 64;                 ///< connections at once
    unsigned int perOrigin = 32;             ///< of them, from one origin
    tDuration firstFrame{10000};             ///< 0: no limit
    tDuration rest{10000};                   ///< without a whole frame, before a link may give way
    unsigned long long held = 128ull << 20;  ///< bytes of memory
    nk_carrier::tLimits carrier;             ///< of each link
  };

  /// One link. The engine's callback is given it as its context.
  struct tLink {
    nk_peer peer;  ///< as it was given to add()
    /// What tSetup::context was.
    void* context = nullptr;
    std::optional<nk_linkedEngine> engine;

   private:
    friend class nk_openLinks;
    std::list<tLink>::iterator self;
    tMoment since{};         // of the last whole frame; without one, of the connection
    tMoment paid{};          // up to when arriving bytes count as activity; not before since
    unsigned int begun = 0;  // most bytes of a frame that has begun, since the last whole one
    unsigned long long frames = 0;  // whole ones so far
    unsigned long long held = 0;    // bytes of memory, when last looked at
    std::string over;               // why it is to end; empty while it goes on
  };

  /// What is told of links; none of them may destroy this object or call it.
  struct tReports {
    std::function<void(tLink const& link)> opened;  ///< just before the link starts
    /// Just before the link is destroyed.
    std::function<void(tLink& link, std::string const& why)> closed;
    std::function<void(nk_peer const& peer, std::string const& why)> refused;
  };

  /// `io` is borrowed. `setup` has a guard; its context is found in tLink.
  nk_openLinks(asio::io_context& io, tLimits const& limits, nk_linkedEngine::tSetup setup,
               tReports reports);
  nk_openLinks(nk_openLinks const&) = delete;
  nk_openLinks& operator=(nk_openLinks const&) = delete;

  /// Serves `descriptor`, or closes it if there is no place. Not to be called from a callback of an
  /// engine.
  void add(int descriptor, nk_peer peer);
  /// Lets each link go as soon as nothing waits to be sent on it.
  void finish();

  /// How many links are open, those that are about to end included.
  unsigned int size() const { return static_cast<unsigned int>(m_silent.size() + m_known.size()); }
  /// True if there are none.
  bool empty() const { return size() == 0; }

 private:
  using tLinks = std::list<tLink>;

  std::string refusal(std::string const& origin);
  tLink* displaceable(std::string const* origin);
  void look(tLink& link);
  void countFrames(tLink& link);
  void countGrowth(tLink& link);
  void countHeld(tLink& link);
  bool isArriving(tLink const& link) const;
  std::string reasonToEnd(tLink const& link) const;
  tLink* largest();
  void end(tLink& link, std::string why);
  void sweep();
  bool isQuotaTaken(std::string const& origin) const;

  asio::io_context& m_io;
  nk_clock& m_clock;
  tLimits const m_limits;
  nk_linkedEngine::tSetup m_setup;
  tReports const m_reports;
  tLinks m_silent;  // without a whole frame yet, the oldest connection first
  tLinks m_known;   // the one whose last whole frame is oldest first
  std::map<std::string, unsigned int> m_origins;
  std::vector<tLink*> m_ended;  // to be destroyed
  unsigned long long m_held = 0;
  bool m_finishing = false;
  // Handlers hold a weak pointer to it, as they may be on their way at destruction.
  std::shared_ptr<char> m_alive = std::make_shared<char>();
};
