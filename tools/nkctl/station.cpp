#include "tools/nkctl/station.h"

#include <algorithm>
#include <asio/io_context.hpp>
#include <random>
#include <string>
#include <thread>

#include "link/dialer.h"
#include "nkProtocol/protocol.h"
#include "tools/common/guardReport.h"
#include "tools/common/options.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How long a peer may take to end its side after everything was sent.
constexpr milliseconds closeTime{1000};

// How often a call that lasts looks how the link is doing.
constexpr milliseconds reportTime{50};

}  // namespace

tStation::tStation(tOptions const& options) : m_options(options) {
  nk_protocol::u32TlgNumber = std::random_device()();
}

nk_tools::teExit tStation::ask(tBlob& content, tBlob& answer) {
  if (auto const status = checkOptions()) return status;
  if (auto const status = connect()) return status;
  m_unconfirmed = true;
  auto const status =
      outcomeOf(m_link->ask(std::move(content), m_options.to, m_options.timeout), &answer);
  m_unconfirmed = false;
  return status;
}

nk_tools::teExit tStation::tell(tBlob& content, tReport const& report) {
  if (auto const status = checkOptions()) return status;
  if (auto const status = connect()) return status;
  m_unconfirmed = true;
  m_deadline = steady_clock::now() + m_options.timeout;
  auto const before = m_link->traffic().sent;
  auto call = m_link->tell(std::move(content), m_options.to, m_options.timeout);
  while (report && call.valid() && call.wait_for(reportTime) != std::future_status::ready) {
    auto const traffic = m_link->traffic();
    auto const all = traffic.sent - before;
    if (all != 0) report(all - std::min<unsigned long long>(all, traffic.waiting), all);
  }
  auto const status = outcomeOf(std::move(call), nullptr);
  auto const all = m_link->traffic().sent - before;
  if (report && status == nk_tools::STATUS_OK) report(all, all);
  return status;
}

nk_tools::teExit tStation::pause(milliseconds time) {
  auto const end = steady_clock::now() + time;
  while (m_link && steady_clock::now() < end) {
    if (auto const reason = m_link->traffic().over) return sayOver(reason, "");
    std::this_thread::sleep_until(std::min(end, steady_clock::now() + reportTime));
  }
  return nk_tools::STATUS_OK;
}

void tStation::close() {
  if (m_link && m_options.verbose) nk_tools::sayDropped(m_link->guardCounters());
  if (!m_link || !m_unconfirmed) return;
  // Bytes that come for a closed socket make the system drop what is still under way to the peer.
  auto const left = std::chrono::ceil<milliseconds>(m_deadline - steady_clock::now());
  m_link->finish(std::min(left, closeTime));
}

nk_tools::teExit tStation::checkOptions() const {
  bool const complete = m_options.link && m_options.to != nk_basicTelegram::addressNone;
  if (complete) return nk_tools::STATUS_OK;
  return nk_tools::fail(nk_tools::STATUS_USAGE,
                        m_options.link ? "--to is required" : "--link is required");
}

nk_tools::teExit tStation::connect() {
  if (m_link) return nk_tools::STATUS_OK;
  nk_tools::cutFor(*m_options.link);
  asio::io_context io{1};
  bool gaveUp = false;
  auto const opened = [this](int descriptor) {
    nk_station::tOptions options;
    options.address = m_options.from;
    options.patience = m_options.timeout;
    options.maxBytes = tBlob::maxSize;
    if (m_options.verbose) options.logOutput = nk_tools::sayEngine;
    m_link = std::make_unique<nk_station>(descriptor, options);
  };
  auto const failed = [&](std::error_code reason) {
    if (m_options.verbose) nk_tools::say(reason.message() + "; trying again");
  };
  auto const giveUp = [&](std::error_code reason) {
    nk_tools::fail(nk_tools::STATUS_LINK,
                   "cannot open " + m_options.link->text() + ": " + reason.message());
    gaveUp = true;
  };
  nk_dialer::tPlan plan;
  plan.giveUp = m_options.connectTimeout;
  nk_dialer dialer(io, *m_options.link, plan, {opened, failed, giveUp});
  dialer.dial();
  while (!m_link && !gaveUp) io.run_one();
  return gaveUp ? nk_tools::STATUS_LINK : nk_tools::STATUS_OK;
}

// Waits for the end of a call and says what went wrong.
nk_tools::teExit tStation::outcomeOf(std::future<nk_station::tResult> call, tBlob* answer) {
  if (!call.valid()) {
    return nk_tools::fail(nk_tools::STATUS_OTHER, "the request is too large");
  }
  auto result = call.get();
  if (result.outcome == nk_station::OUTCOME_ANSWER) answer->swap(result.content);
  if (!result.reason) return nk_tools::STATUS_OK;
  if (result.reason == std::errc::timed_out) {
    return nk_tools::fail(nk_tools::STATUS_TIMEOUT, answer != nullptr
                                                        ? "no answer in time"
                                                        : "the request did not go out in time");
  }
  if (result.outcome == nk_station::OUTCOME_DAMAGED)
    return fail(nk_tools::STATUS_PROTOCOL, "the answer was damaged");
  if (result.reason == std::errc::invalid_argument)
    return nk_tools::fail(nk_tools::STATUS_PROTOCOL, "the request could not be sent");
  return sayOver(result.reason, " before it answered");
}

nk_tools::teExit tStation::sayOver(std::error_code reason, char const* when) {
  bool const inOrder = reason == std::errc::not_connected;
  return nk_tools::fail(nk_tools::STATUS_PROTOCOL,
                        inOrder ? std::string("the peer closed the link") + when
                                : "the link broke: " + reason.message());
}
