#include "link/openLinks.h"

#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <utility>

nk_openLinks::nk_openLinks(asio::io_context& io, tLimits const& limits,
                           nk_linkedEngine::tSetup setup, tReports reports)
    : m_io(io),
      m_clock(nk_clock::of(io)),
      m_limits(limits),
      m_setup(std::move(setup)),
      m_reports(std::move(reports)) {
  m_setup.guard->now = [&clock = m_clock] { return clock.now(); };
}

void nk_openLinks::add(int descriptor, nk_peer peer) {
  sweep();  // who has ended makes room
  auto const why = refusal(peer.origin);
  if (!why.empty()) {
    ::close(descriptor);
    return m_reports.refused(peer, why);
  }
  auto& link = m_silent.emplace_back();
  link.self = std::prev(m_silent.end());
  link.peer = std::move(peer);
  link.context = std::exchange(m_setup.context, &link);
  link.since = link.paid = m_clock.now();
  try {
    link.engine.emplace(m_io, descriptor, m_limits.carrier, m_setup);
  } catch (std::system_error const& problem) {  // the descriptor is closed
    m_reports.refused(link.peer, problem.code().message());
  }
  m_setup.context = link.context;
  if (!link.engine) return m_silent.pop_back();
  ++m_origins[link.peer.origin];
  m_reports.opened(link);
  link.engine->start([this, &link] { look(link); });
}

void nk_openLinks::finish() {
  m_finishing = true;
  std::vector<tLink*> all;  // look() may move links from one list to the other
  for (auto* const links : {&m_silent, &m_known})
    for (auto& link : *links) all.push_back(&link);
  for (auto* const link : all) look(*link);
}

bool nk_openLinks::isQuotaTaken(std::string const& origin) const {
  auto const found = m_origins.find(origin);
  return !origin.empty() && found != m_origins.end() && found->second >= m_limits.perOrigin;
}

// Makes room for a connection from `origin`. Says why it cannot, nothing if it could.
std::string nk_openLinks::refusal(std::string const& origin) {
  bool const quotaTaken = isQuotaTaken(origin);
  if (!quotaTaken && size() < m_limits.links) return {};
  auto* const one = displaceable(quotaTaken ? &origin : nullptr);
  if (one == nullptr)
    return quotaTaken ? "no more than " + std::to_string(m_limits.perOrigin) +
                            " connections at once from " + origin
                      : "no more than " + std::to_string(m_limits.links) + " connections at once";
  end(*one, "gave way to another connection");
  sweep();
  return {};
}

// The connection that is the first to give way; of one origin only, if one is named.
nk_openLinks::tLink* nk_openLinks::displaceable(std::string const* origin) {
  auto const matches = [this, origin](tLink const& link) {
    return (origin == nullptr || link.peer.origin == *origin) && !isArriving(link);
  };
  auto const silent = std::find_if(m_silent.begin(), m_silent.end(), matches);
  if (silent != m_silent.end()) return &*silent;
  auto const restedSince = m_clock.now() - m_limits.rest;
  for (auto& link : m_known) {
    if (link.since > restedSince) break;
    if (matches(link) && link.engine->carrier().outgoing() == 0) return &link;
  }
  return nullptr;
}

// Called after each round of the link, so several times a second.
void nk_openLinks::look(tLink& link) {
  if (!link.over.empty()) return;
  countFrames(link);
  countGrowth(link);
  countHeld(link);
  auto why = reasonToEnd(link);
  if (!why.empty()) end(link, std::move(why));
  while (m_held > m_limits.held) {
    auto* const most = largest();
    if (most == nullptr) return;
    end(*most, "held " + std::to_string(most->held >> 20) + " MiB, the most of all links");
  }
}

void nk_openLinks::countFrames(tLink& link) {
  auto const frames = link.engine->guard()->frames();
  if (frames == link.frames) return;
  m_known.splice(m_known.end(), link.frames == 0 ? m_silent : m_known, link.self);
  link.frames = frames;
  link.since = link.paid = m_clock.now();
  link.begun = 0;
}

void nk_openLinks::countGrowth(tLink& link) {
  auto const begun = link.engine->guard()->begunBytes();
  if (begun <= link.begun) return;
  auto const growth = static_cast<long long>(begun - std::exchange(link.begun, begun));
  // A known link may begin a frame after a long rest, which the frame need not pay for.
  auto const now = m_clock.now();
  if (link.frames != 0) link.paid = std::max(link.paid, now - m_limits.rest);
  link.paid = std::min(now, link.paid + std::chrono::microseconds(growth * 1000000 / leastGrowth));
}

// The first bytes of a new connection must be paid for before it counts as active.
bool nk_openLinks::isArriving(tLink const& link) const {
  if (link.frames == 0 && link.begun < leastGrowth) return false;
  return link.engine->guard()->begunBytes() != 0 && link.paid > m_clock.now() - m_limits.rest;
}

void nk_openLinks::countHeld(tLink& link) {
  m_held -= link.held;
  link.held = link.engine->heldBytes();
  m_held += link.held;
}

std::string nk_openLinks::reasonToEnd(tLink const& link) const {
  auto const& engine = *link.engine;
  auto const error = engine.carrier().error();
  if (engine.finished()) return error ? error.message() : "closed by the peer";
  if (m_finishing && engine.carrier().outgoing() == 0) return "the program ends";
  bool const mayBeSilent = m_limits.firstFrame == tDuration::zero() || link.peer.origin.empty();
  if (link.frames != 0 || mayBeSilent) return {};
  if (m_clock.now() - link.paid <= m_limits.firstFrame) return {};
  auto const seconds = std::chrono::ceil<std::chrono::seconds>(m_limits.firstFrame).count();
  return "no whole frame in " + std::to_string(seconds) + " s";
}

nk_openLinks::tLink* nk_openLinks::largest() {
  tLink* most = nullptr;
  for (auto* const links : {&m_silent, &m_known})
    for (auto& link : *links)
      if (most == nullptr || link.held > most->held) most = &link;
  return most;
}

// The link is destroyed later, as its own handler may be running.
void nk_openLinks::end(tLink& link, std::string why) {
  link.over = std::move(why);
  m_held -= std::exchange(link.held, 0);
  m_ended.push_back(&link);
  if (m_ended.size() > 1) return;
  asio::post(m_io, [this, alive = std::weak_ptr(m_alive)] {
    if (!alive.expired()) sweep();
  });
}

void nk_openLinks::sweep() {
  for (auto* const link : std::exchange(m_ended, {})) {
    m_reports.closed(*link, link->over);
    auto const origin = m_origins.find(link->peer.origin);
    if (--origin->second == 0) m_origins.erase(origin);
    (link->frames == 0 ? m_silent : m_known).erase(link->self);
  }
}
