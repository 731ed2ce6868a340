#include "tools/nkdevice/device.h"

#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <utility>

#include "tools/common/guardReport.h"
#include "tools/common/options.h"

namespace {

using std::chrono::milliseconds;

// How long answers on their way may hold up the end of the program.
constexpr milliseconds stopTime{1000};
constexpr nk_dialer::tPlan serialPlan{milliseconds(100), milliseconds(2000), {}};

void received(unsigned int station, tBlob* content, void* context) {
  auto const& link = *static_cast<nk_openLinks::tLink*>(context);
  static_cast<tPanel*>(link.context)->receive({station, link.peer.name}, *content);
}

nk_linkedEngine::tSetup setupFor(tDevice::tOptions const& options, tPanel& panel) {
  nk_linkedEngine::tSetup setup;
  setup.address = options.address;
  setup.receive = received;
  setup.context = &panel;
  setup.guard = nk_linkGuard::tOptions::all(options.address);
  unsigned long long const own = setup.guard->maxHeld;
  setup.guard->maxHeld = static_cast<unsigned int>(std::min(own, options.limits.held));
  if (options.panel.verbose) setup.logOutput = nk_tools::sayEngine;
  return setup;
}

}  // namespace

tDevice::tDevice(tOptions const& options)
    : m_options(options),
      m_panel(options.panel, [this] { asio::post(m_io, [this] { stop(); }); }),
      m_listener(m_io),
      m_dialer(m_io, options.link, serialPlan,
               {[this](int descriptor) {
                  m_saidReason.clear();
                  sayReady(m_options.link);
                  m_links.add(descriptor, {m_options.link.text(), ""});
                },
                [this](std::error_code reason) { sayUnavailable(reason); },
                {}}),
      m_links(m_io, options.limits, setupFor(options, m_panel), reports()),
      m_stopTimer(m_io),
      m_keepTimer(m_io) {}

nk_openLinks::tReports tDevice::reports() {
  return {[this](nk_openLinks::tLink const& link) {
            if (!isSerial()) m_usualLines.say("connected: " + link.peer.name);
          },
          [this](nk_openLinks::tLink& link, std::string const& why) { linkClosed(link, why); },
          [this](nk_peer const& peer, std::string const& why) {
            m_unusualLines.say("refused: " + peer.name + ": " + why);
          }};
}

nk_tools::teExit tDevice::run() {
  if (auto const status = m_panel.load()) return status;
  nk_tools::cutFor(m_options.link);
  keepNowAndThen();
  asio::signal_set signals(m_io, SIGINT, SIGTERM);
  signals.async_wait([this](std::error_code problem, int) {
    if (!problem) stop();
  });
  if (isSerial()) {
    m_dialer.dial();
  } else if (!listen()) {
    return nk_tools::STATUS_LINK;
  }
  m_io.run();
  return m_panel.keep() ? nk_tools::STATUS_OK : nk_tools::STATUS_OTHER;
}

bool tDevice::listen() {
  if (auto const error = m_listener.open(m_options.link)) {
    nk_tools::say("cannot listen on " + m_options.link.text() + ": " + error.message());
    return false;
  }
  m_listener.start([this](int descriptor) { accept(descriptor); });
  sayReady(m_listener.url());
  if (m_listener.isOpenToOthers())
    nk_tools::say(
        "warning: other machines reach this port, and there is neither authentication nor "
        "encryption: whoever connects commands the panel. Listen on 127.0.0.1 behind a tunnel; "
        "see SECURITY.md");
  return true;
}

void tDevice::accept(int descriptor) {
  auto const peer = nk_peer::of(descriptor);
  if (m_options.peers.contains(peer)) return m_links.add(descriptor, peer);
  ::close(descriptor);
  m_unusualLines.say("refused: " + peer.name + ": not one of --peers");
}

void tDevice::keepNowAndThen() {
  m_keepTimer.expires_after(tPanel::keepInterval);
  m_keepTimer.async_wait([this](std::error_code problem) {
    if (problem) return;
    m_panel.keepChanges();
    keepNowAndThen();
  });
}

void tDevice::stop() {
  if (m_stopping) return;
  m_stopping = true;
  m_listener.close();
  m_dialer.cancel();
  m_stopTimer.expires_after(stopTime);
  m_stopTimer.async_wait([this](std::error_code) { m_io.stop(); });
  m_links.finish();
  stopIfIdle();
}

void tDevice::stopIfIdle() {
  if (m_stopping && m_links.empty()) m_io.stop();
}

void tDevice::linkClosed(nk_openLinks::tLink& link, std::string const& why) {
  if (m_options.panel.verbose) nk_tools::sayDropped(link.engine->guard()->counters());
  if (m_stopping) return asio::post(m_io, [this] { stopIfIdle(); });
  if (!isSerial()) {
    auto& lines = link.engine->finished() ? m_usualLines : m_unusualLines;
    return lines.say("disconnected: " + link.peer.name + ": " + why);
  }
  nk_tools::say("lost " + m_options.link.text());
  m_dialer.redial();
}

void tDevice::sayReady(nk_linkUrl const& url) const {
  nk_tools::say("listening on " + url.text() + ", address " + std::to_string(m_options.address));
}

void tDevice::sayUnavailable(std::error_code reason) {
  if (reason == m_saidReason) return;
  m_saidReason = reason;
  nk_tools::say("cannot open " + m_options.link.text() + ": " + reason.message() +
                "; trying again");
}
