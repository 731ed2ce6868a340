#include "tools/nkexplain/bridge.h"

#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <csignal>

namespace {

constexpr nk_dialer::tDuration giveUpAfter{2000};
constexpr std::chrono::milliseconds tickTime{100};
// What the port is called in a record of a link that has none.
constexpr unsigned short anyPort = 4711;

}  // namespace

struct nk_explain::tBridge::tPair {
  tPair(unsigned int number, tTeller const& tell)
      : fromStation(std::to_string(number) + " station > panel", tell),
        fromPanel(std::to_string(number) + " panel > station", tell) {}

  std::unique_ptr<nk_carrier> station;  // none if the link is only listened to
  std::unique_ptr<nk_carrier> panel;    // once it is open
  std::unique_ptr<nk_dialer> dialer;
  tStream fromStation, fromPanel;
  std::optional<tRecorder::tConnection> record;
  bool finished[2] = {false, false};  // passing from the panel, and from the station
  bool closed = false;
};

nk_explain::tBridge::tBridge(tOptions const& options, tTeller tell,
                             std::function<bool()> nobodyReads)
    : m_options(options),
      m_tell(std::move(tell)),
      m_nobodyReads(std::move(nobodyReads)),
      m_listener(m_io) {
  if (!m_options.record.empty())
    m_recorder.emplace(m_options.record, m_options.link.port != 0 ? m_options.link.port : anyPort);
}

nk_tools::teExit nk_explain::tBridge::run() {
  asio::signal_set signals(m_io, SIGINT, SIGTERM);
  signals.async_wait([this](std::error_code problem, int) {
    if (!problem) m_io.stop();
  });
  if (m_options.listen) {
    if (auto const error = m_listener.open(*m_options.listen)) {
      nk_tools::say("cannot listen on " + m_options.listen->text() + ": " + error.message());
      return nk_tools::STATUS_LINK;
    }
    m_listener.start([this](int descriptor) { accept(descriptor); });
    nk_tools::say("listening on " + m_listener.url().text() + ", for " + m_options.link.text());
  } else {
    dial(m_pairs.emplace_back(std::make_shared<tPair>(++m_count, m_tell)));
  }
  tick();
  m_io.run();
  for (auto const& pair : m_pairs) close(*pair);
  return m_status;
}

// Carriers know nothing of time by themselves.
void nk_explain::tBridge::tick() {
  m_timer.expires_after(tickTime);
  m_timer.async_wait([this](std::error_code problem) {
    if (problem) return;
    if (m_nobodyReads()) return m_io.stop();
    for (auto const& pair : m_pairs) {
      for (auto* const one : {pair->station.get(), pair->panel.get()})
        if (one != nullptr) one->checkProgress();
      pass(*pair);
    }
    tick();
  });
}

void nk_explain::tBridge::accept(int descriptor) {
  auto const& pair = m_pairs.emplace_back(std::make_shared<tPair>(++m_count, m_tell));
  pair->station = std::make_unique<nk_carrier>(m_io, descriptor, nk_carrier::tLimits{});
  dial(pair);
}

void nk_explain::tBridge::dial(std::shared_ptr<tPair> const& pair) {
  nk_dialer::tPlan plan;
  plan.giveUp = giveUpAfter;
  auto* const one = pair.get();
  auto const opened = [this, one](int descriptor) { open(*one, descriptor); };
  auto const gaveUp = [this, one](std::error_code reason) {
    nk_tools::say("cannot open " + m_options.link.text() + ": " + reason.message());
    one->finished[0] = one->finished[1] = true;
    if (!m_options.listen) m_status = nk_tools::STATUS_LINK;
    pass(*one);
  };
  pair->dialer = std::make_unique<nk_dialer>(m_io, m_options.link, plan,
                                             nk_dialer::tReports{opened, {}, gaveUp});
  pair->dialer->dial();
}

void nk_explain::tBridge::open(tPair& pair, int descriptor) {
  pair.panel = std::make_unique<nk_carrier>(m_io, descriptor, nk_carrier::tLimits{});
  if (m_recorder) pair.record.emplace(*m_recorder);
  auto const onEvent = [this, &pair] { pass(pair); };
  pair.panel->start(onEvent);
  if (pair.station) pair.station->start(onEvent);
}

// Passes on what has arrived; lets go of the pair when nothing more can.
void nk_explain::tBridge::pass(tPair& pair) {
  if (pair.closed) return;
  if (pair.panel) {
    pair.finished[1] = !pair.station || move(pair, true);
    pair.finished[0] = move(pair, false);
  }
  auto const broken = [](auto const& one) { return one && one->error() && one->incoming() == 0; };
  bool const over = pair.station ? pair.finished[0] && pair.finished[1] : pair.finished[0];
  if (!broken(pair.panel) && !broken(pair.station) && !over) return;
  close(pair);
  asio::post(m_io, [this] {
    m_pairs.remove_if([](auto const& each) { return each->closed; });
    if (!m_options.listen) m_io.stop();
  });
}

// In one direction. True once all was passed on, the end of the stream included. Takes bytes only
// while the far end has room for them: one that does not read holds up its own pair and no other.
bool nk_explain::tBridge::move(tPair& pair, bool byStation) {
  if (pair.finished[byStation]) return true;
  auto& from = byStation ? *pair.station : *pair.panel;
  auto* const to = byStation ? pair.panel.get() : pair.station.get();
  unsigned char buffer[65536];
  while (to == nullptr || !to->congested()) {
    auto const count = from.receive(buffer, sizeof buffer);
    if (count == 0) break;
    if (pair.record) pair.record->sent(byStation, buffer, count);
    (byStation ? pair.fromStation : pair.fromPanel).feed(buffer, count);
    int error = 0;
    if (to != nullptr) to->send(buffer, count, error);
  }
  if (!from.ended() || from.incoming() != 0 || (to != nullptr && to->outgoing() != 0)) return false;
  if (to != nullptr) to->finishSending();
  return true;
}

void nk_explain::tBridge::close(tPair& pair) {
  if (pair.closed) return;
  pair.closed = true;
  pair.fromStation.finish();
  pair.fromPanel.finish();
  if (pair.record) pair.record->end();
}
