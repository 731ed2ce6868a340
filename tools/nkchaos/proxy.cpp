#include "tools/nkchaos/proxy.h"

#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <csignal>

namespace {

using std::chrono::milliseconds;

constexpr nk_dialer::tPlan panelPlan{milliseconds(50), milliseconds(500), milliseconds(5000)};
constexpr nk_dialer::tPlan serialPlan{milliseconds(100), milliseconds(2000), {}};
constexpr milliseconds tickTime{100};
constexpr char const* wayNames[] = {"to panel", "to station"};

}  // namespace

tProxy::tProxy(tOptions const& options)
    : m_options(options),
      m_listener(m_io),
      m_dialer(m_io, options.link, serialPlan, {[this](int one) { serve(one); }, {}, {}}),
      m_tick(m_io) {}

nk_tools::teExit tProxy::run() {
  asio::signal_set signals(m_io, SIGINT, SIGTERM);
  signals.async_wait([this](std::error_code, int) { m_io.stop(); });
  auto url = m_options.link;
  if (url.kind == nk_linkUrl::KIND_SERIAL) {
    m_dialer.dial();
  } else {
    if (auto const error = m_listener.open(url)) {
      nk_tools::say("cannot listen on " + url.text() + ": " + error.message());
      return nk_tools::STATUS_LINK;
    }
    m_listener.start([this](int one) { serve(one); });
    url = m_listener.url();
  }
  nk_tools::say("listening on " + url.text() + ", seed " + std::to_string(m_options.damage.seed));
  tick();
  m_io.run();
  sayTotals();
  return nk_tools::STATUS_OK;
}

void tProxy::serve(int descriptor) {
  auto& connection = m_connections.emplace_back();
  connection.number = ++m_served;
  connection.sources[TO_PANEL] = carrierFor(connection, descriptor);
  connection.dialer = std::make_unique<nk_dialer>(
      m_io, m_options.to, panelPlan,
      nk_dialer::tReports{[this, &connection](int one) { join(connection, one); },
                          {},
                          [this, &connection](std::error_code reason) {
                            nk_tools::say("cannot open " + m_options.to.text() + ": " +
                                          reason.message());
                            end(connection);
                          }});
  connection.dialer->dial();
}

void tProxy::join(tConnection& connection, int descriptor) {
  connection.sources[TO_STATION] = carrierFor(connection, descriptor);
  for (auto const way : {TO_PANEL, TO_STATION})
    connection.flows[way] = std::make_unique<tFlow>(m_io, damageFor(connection.number, way));
  for (auto const& source : connection.sources)
    source->start([this, &connection] { work(connection); });
}

std::unique_ptr<nk_carrier> tProxy::carrierFor(tConnection& connection, int descriptor) {
  if (m_options.verbose)
    nk_tools::say("connection " + std::to_string(connection.number) + ": link " +
                  (connection.sources[TO_PANEL] ? "to panel" : "from station"));
  return std::make_unique<nk_carrier>(m_io, descriptor, nk_carrier::tLimits{});
}

tDamage tProxy::damageFor(unsigned int connection, teWay way) {
  auto const report = [this, connection, way](tDamage::teLevel level, tDamage::teKind kind,
                                              unsigned long long position) {
    ++m_totals[level][kind];
    if (!m_options.verbose) return;
    nk_tools::say("connection " + std::to_string(connection) + " " + wayNames[way] + ": " +
                  tDamage::levelNames[level] + " " + std::to_string(position) + " " +
                  tDamage::kindNames[kind]);
  };
  return {m_options.damage, connection * 2ULL + way, report};
}

void tProxy::work(tConnection& connection) {
  for (auto const way : {TO_PANEL, TO_STATION}) {
    if (connection.over) return;
    carry(connection, way);
  }
  for (auto const& source : connection.sources)
    if (source->error()) return end(connection);
  if (connection.flows[TO_PANEL]->finished && connection.flows[TO_STATION]->finished)
    end(connection);
}

// Writes what it may; reads on only when all of that is written, so that the peer is held back.
void tProxy::carry(tConnection& connection, teWay way) {
  auto& flow = *connection.flows[way];
  auto& from = *connection.sources[way];
  auto& to = *connection.sources[way == TO_PANEL ? TO_STATION : TO_PANEL];
  unsigned char buffer[4096];
  for (;;) {
    while (writeNext(connection, way)) {
    }
    if (connection.over || !flow.pieces.empty() || flow.finished) return;
    if (auto const count = from.receive(buffer, sizeof buffer)) {
      flow.damage.feed({reinterpret_cast<char const*>(buffer), count}, flow.pieces);
      continue;
    }
    if (!from.ended() || to.outgoing() != 0) return;
    flow.damage.finish(flow.pieces);
    if (!flow.pieces.empty()) continue;
    to.finishSending();
    flow.finished = true;
  }
}

// Writes the next piece, if there is one and it may go now.
bool tProxy::writeNext(tConnection& connection, teWay way) {
  auto& flow = *connection.flows[way];
  auto& to = *connection.sources[way == TO_PANEL ? TO_STATION : TO_PANEL];
  if (flow.pausing || flow.pieces.empty() || to.congested() || to.error()) return false;
  auto& piece = flow.pieces.front();
  if (auto const pause = std::exchange(piece.pause_ms, 0); pause != 0) {
    flow.pausing = true;
    flow.pause.expires_after(milliseconds(pause));
    auto const handler = [this, &connection, &flow,
                          alive = std::weak_ptr(connection.alive)](std::error_code problem) {
      if (problem || alive.expired() || connection.over) return;
      flow.pausing = false;
      work(connection);
    };
    flow.pause.async_wait(handler);
    return false;
  }
  if (piece.end) {
    end(connection);
    return false;
  }
  int error = 0;
  auto* const bytes = reinterpret_cast<unsigned char*>(piece.bytes.data());
  auto const size = static_cast<unsigned int>(piece.bytes.size());
  to.send(bytes, size, error);
  flow.pieces.pop_front();
  return true;
}

// Closes both sides, later: their handlers may be running.
void tProxy::end(tConnection& connection) {
  if (connection.over) return;
  connection.over = true;
  asio::post(m_io, [this] { sweep(); });
}

void tProxy::sweep() {
  auto const ended = m_connections.remove_if([](tConnection const& each) { return each.over; });
  if (ended != 0 && m_options.link.kind == nk_linkUrl::KIND_SERIAL) m_dialer.redial();
}

// Carriers want to be looked at now and then.
void tProxy::tick() {
  m_tick.expires_after(tickTime);
  m_tick.async_wait([this](std::error_code problem) {
    if (problem) return;
    for (auto& connection : m_connections) {
      if (connection.over || connection.flows[TO_PANEL] == nullptr) continue;
      for (auto const& source : connection.sources) source->checkProgress();
      work(connection);
    }
    tick();
  });
}

void tProxy::sayTotals() const {
  for (unsigned int level = 0; level < tDamage::LEVELS; ++level) {
    std::string line = std::string(tDamage::levelNames[level]) + "s:";
    for (unsigned int kind = 0; kind < tDamage::KINDS; ++kind)
      line.append(" ")
          .append(tDamage::kindNames[kind])
          .append(" ")
          .append(std::to_string(m_totals[level][kind]));
    nk_tools::say(line);
  }
}
