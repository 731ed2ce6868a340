#include "tools/nkdevice/device.h"

#include <unistd.h>

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
// What a kill loses at most of what changes by itself.
constexpr std::chrono::minutes keepTime{1};
constexpr nk_dialer::tPlan serialPlan{milliseconds(100), milliseconds(2000), {}};

}  // namespace

tDevice::tDevice(tOptions const& options)
    : m_options(options),
      m_panel(options.panel, [this] { asio::post(m_io, [this] { stop(); }); }),
      m_listener(m_io),
      m_dialer(m_io, options.link, serialPlan,
               {[this](int descriptor) {
                  m_saidReason.clear();
                  sayReady(m_options.link);
                  serve(descriptor);
                },
                [this](std::error_code reason) { sayUnavailable(reason); },
                {}}),
      m_stopTimer(m_io),
      m_keepTimer(m_io) {}

nk_tools::teExit tDevice::run() {
  if (auto const status = m_panel.load()) return status;
  nk_tools::cutFor(m_options.link);
  keepNowAndThen();
  asio::signal_set signals(m_io, SIGINT, SIGTERM);
  signals.async_wait([this](std::error_code problem, int) {
    if (!problem) stop();
  });
  if (m_options.link.kind == nk_linkUrl::KIND_SERIAL) {
    m_dialer.dial();
  } else {
    if (auto const error = m_listener.open(m_options.link)) {
      nk_tools::say("cannot listen on " + m_options.link.text() + ": " + error.message());
      return nk_tools::STATUS_LINK;
    }
    m_listener.start([this](int descriptor) { serve(descriptor); });
    sayReady(m_listener.url());
  }
  m_io.run();
  return m_panel.keep() ? nk_tools::STATUS_OK : nk_tools::STATUS_OTHER;
}

void tDevice::keepNowAndThen() {
  m_keepTimer.expires_after(keepTime);
  m_keepTimer.async_wait([this](std::error_code problem) {
    if (problem) return;
    m_panel.keep();
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
  sweep();
}

void tDevice::serve(int descriptor) {
  sweep();  // who has gone makes room
  if (m_links.size() >= m_options.mostLinks) {
    if (!std::exchange(m_saidFull, true))
      nk_tools::say("no more than " + std::to_string(m_options.mostLinks) +
                    " connections at once: refusing others");
    ::close(descriptor);
    return;
  }
  m_saidFull = false;
  nk_linkedEngine::tSetup setup;
  setup.address = m_options.address;
  setup.receive = tPanel::receiveFor;
  setup.context = &m_panel;
  setup.guard = nk_linkGuard::tOptions::all(m_options.address);
  if (m_options.panel.verbose) setup.logOutput = nk_tools::sayEngine;
  auto& link = m_links.emplace_back(m_io, descriptor, nk_carrier::tLimits{}, setup);
  link.start([this, &link] {
    if (m_stopping || link.finished()) asio::post(m_io, [this] { sweep(); });
  });
}

// Lets go of the links that are over; when stopping, of those that have nothing left to send.
void tDevice::sweep() {
  auto const ended = m_links.remove_if([this](nk_linkedEngine& link) {
    bool const over = link.finished() || (m_stopping && link.carrier().outgoing() == 0);
    if (over && m_options.panel.verbose) nk_tools::sayDropped(link.guard()->counters());
    return over;
  });
  if (m_stopping && m_links.empty()) m_io.stop();
  if (ended == 0 || m_stopping || m_options.link.kind != nk_linkUrl::KIND_SERIAL) return;
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
