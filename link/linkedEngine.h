#pragma once

#include <asio/io_context.hpp>
#include <cstdarg>
#include <functional>
#include <memory>
#include <optional>

#include "link/carrier.h"
#include "link/linkGuard.h"
#include "nkProtocol/protocol.h"

/// An engine, the carrier of its one link and, if wanted, a guard between the two: polls the engine
/// whenever bytes arrive or go out, and ten times a second besides, so that time-outs fire.
///
/// Sending never waits, and backpressure is per link: a peer that sends requests and does not take
/// the answers is left unread until it does, and no other link notices. While the carrier is
/// congested the engine gets no further request. With a guard it gets them frame by frame, so what
/// waits to be sent is at most the carrier's limit of congestion and one answer; without one it
/// gets up to 2048 bytes of requests at once. A round that handles many frames ends after some of
/// them and goes on once the other links of the io_context had their turn.
///
/// Everything runs on the thread that runs the io_context.
class nk_linkedEngine {
 public:
  /// What the engine is built with; see nk_protocol.
  struct tSetup {
    /// The arguments of nk_protocol's constructor. All pointers are borrowed as long as the linked
    /// engine lives.
    unsigned int address = nk_basicTelegram::addressNone;
    nk_protocol::tReceiveCallback receive = nullptr;
    void* context = nullptr;
    unsigned int timeout_s = 10;
    void (*logOutput)(void* context, char const* text) = nullptr;
    void* logContext = nullptr;
    /// Hook of nk_protocol::logProt, for the whole process: each engine that is made replaces it.
    void (*logFcn)(char const* format, va_list arguments) = nullptr;
    /// With a value a guard stands in front of the engine.
    std::optional<nk_linkGuard::tOptions> guard;
  };

  /// Takes `descriptor` over as nk_carrier does; `io` is borrowed.
  nk_linkedEngine(asio::io_context& io, int descriptor, nk_carrier::tLimits const& limits,
                  tSetup const& setup);
  nk_linkedEngine(nk_linkedEngine const&) = delete;
  nk_linkedEngine& operator=(nk_linkedEngine const&) = delete;

  /// Begins to poll. `onEvent` is called from the io_context after each round; it must not destroy
  /// this object.
  void start(std::function<void()> onEvent);
  /// Polls the engine until it neither sends nor receives anything more. To be called after
  /// enqueue_TS; not from a callback of the engine.
  void pump();

  /// The parts, which live as long as this object. What is queued in the engine goes out with the
  /// next pump() or round.
  nk_protocol& engine() { return m_engine; }
  nk_carrier& carrier() { return m_carrier; }
  nk_carrier const& carrier() const { return m_carrier; }
  /// Null without a guard.
  nk_linkGuard* guard() { return m_guard ? &*m_guard : nullptr; }
  nk_linkGuard const* guard() const { return m_guard ? &*m_guard : nullptr; }
  /// Bytes that have arrived and did not get to the engine yet.
  unsigned int unhandled() const { return m_carrier.incoming() + m_frames.size(); }
  /// Bytes of memory that the link's traffic takes at present, about: buffers, frames on their way
  /// and, with a guard, incomplete frames and telegrams.
  unsigned long long heldBytes() const;
  /// True once the link is over and all that arrived has been handled and answered.
  bool finished() const;

 private:
  void round();
  bool pumpSome();
  bool pumpOnce();
  void tick();
  bool handOneOver();
  static unsigned int receiveFor(nk_server* server, void* ctx, unsigned char* data,
                                 unsigned int length, int* error);
  static unsigned int sendFor(nk_server* server, void* ctx, unsigned char* data,
                              unsigned int length, int* error);

  asio::io_context& m_io;
  nk_carrier m_carrier;
  nk_protocol m_engine;
  std::optional<nk_linkGuard> m_guard;
  tBlob m_frames;  // from the guard, for the engine
  nk_timer m_tick;
  std::function<void()> m_onEvent;
  bool m_roundPosted = false;
  // Handlers hold a weak pointer to it, as they may be on their way at destruction.
  std::shared_ptr<char> m_alive = std::make_shared<char>();
};
