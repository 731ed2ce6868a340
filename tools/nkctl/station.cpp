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

// How long the answer to a request may take as a whole, unless --timeout is longer: a peer could
// send new parts for ever.
constexpr milliseconds longestAnswer = std::chrono::minutes(10);

// How often a call that lasts looks how the link is doing.
constexpr milliseconds reportTime{50};

std::string secondsText(milliseconds time) {
  char text[40];
  std::snprintf(text, sizeof text, "%g s", std::chrono::duration<double>(time).count());
  return text;
}

// True if the link went before the request was answered. A damaged answer is an answer.
bool wentWithLink(nk_station::tResult const& result) {
  return result.reason && result.outcome != nk_station::OUTCOME_DAMAGED &&
         result.reason != std::errc::timed_out && result.reason != std::errc::invalid_argument;
}

}  // namespace

tStation::tStation(tOptions const& options) : m_options(options), m_version(options.version) {
  nk_protocol::u32TlgNumber = std::random_device()();
}

nk_message::teVersion tStation::version(nk_message::teVersion usual) const {
  return m_version.value_or(usual);
}

std::string tStation::name() const {
  auto const link = m_options.link->text();
  if (m_options.to == nk_basicTelegram::addressBroadcast) return link + ", all panels";
  return link + ", panel " + std::to_string(m_options.to);
}

nk_tools::teExit tStation::fail(nk_tools::teExit status, std::string_view problem) const {
  return m_quiet ? status : nk_tools::fail(status, name() + ": " + std::string(problem));
}

nk_tools::teExit tStation::ask(tBlob& content, tBlob& answer) {
  if (auto const status = ready()) return status;
  // Only a link that has answered before may be over without a fault.
  tBlob again = m_answered ? content : tBlob();
  auto result = wait(content);
  if (wentWithLink(result) && !again.empty()) {
    m_peerCloses = true;
    drop();
    if (auto const status = ready()) return status;
    result = wait(again);
  }
  return outcomeOf(result, &answer);
}

nk_tools::teExit tStation::askFirst(std::vector<tBlob>& contents, tBlob& answer) {
  if (auto const status = ready()) return status;
  std::vector<std::future<tResult>> calls;
  calls.reserve(contents.size());
  for (auto& content : contents)
    calls.push_back(m_link->ask(std::move(content), m_options.to, limits()));
  tResult first;
  first.reason = std::make_error_code(std::errc::invalid_argument);  // unless one is accepted
  for (auto& call : calls) {
    if (!call.valid()) continue;
    auto result = call.get();
    if (first.outcome != nk_station::OUTCOME_ANSWER) first = std::move(result);
  }
  return outcomeOf(first, &answer);
}

nk_station::tTimeouts tStation::limits() const {
  auto limits = nk_station::tTimeouts::ofProgress(m_options.timeout, m_options.timeout);
  limits.wholeAnswer = std::max(m_options.timeout, longestAnswer);
  return limits;
}

nk_station::tResult tStation::wait(tBlob& content) {
  auto call = m_link->ask(std::move(content), m_options.to, limits());
  if (call.valid()) return call.get();
  tResult refused;
  refused.reason = std::make_error_code(std::errc::invalid_argument);
  return refused;
}

nk_tools::teExit tStation::tell(tBlob& content, tReport const& report) {
  if (auto const status = ready()) return status;
  m_unconfirmed = true;
  auto call = m_link->tell(std::move(content), m_options.to, limits());
  while (report && call.valid() && call.wait_for(reportTime) != std::future_status::ready) {
    auto const traffic = m_link->traffic();
    auto const all = traffic.sent - m_before.sent, left = 0ull + traffic.waiting + traffic.underWay;
    if (all != 0) report(all - std::min(all, left), all);
  }
  tResult result;
  result.reason = std::make_error_code(std::errc::invalid_argument);
  if (call.valid()) result = call.get();
  // Before anything else is said.
  if (report) result.reason ? report(0, 0) : report(1, 1);
  return outcomeOf(result, nullptr);
}

nk_tools::teExit tStation::pause(milliseconds time) {
  auto const end = steady_clock::now() + time;
  while (steady_clock::now() < end) {
    if (auto const over = m_link ? m_link->traffic().over : std::error_code()) {
      m_peerCloses = m_answered && over == std::errc::not_connected;
      if (!m_peerCloses) return failOver(over, "");
      drop();
    }
    if (nk_tools::readerGone())
      return nk_tools::fail(nk_tools::STATUS_OTHER, "nobody reads the output any more");
    std::this_thread::sleep_until(std::min(end, steady_clock::now() + reportTime));
  }
  return nk_tools::STATUS_OK;
}

nk_tools::teExit tStation::awaitEnd() {
  bool const isSerial = m_options.link->kind == nk_linkUrl::KIND_SERIAL;
  if (isSerial || m_options.to == nk_basicTelegram::addressBroadcast) {
    nk_tools::say(name() + ": sent; nobody can confirm it " +
                  (isSerial ? "on a serial line" : "to a broadcast"));
    return nk_tools::STATUS_OK;
  }
  auto const end = steady_clock::now() + m_options.timeout;
  while (!m_link->traffic().over) {
    if (steady_clock::now() >= end)
      return fail(nk_tools::STATUS_TIMEOUT,
                  "nobody confirmed: the link stayed open for " + secondsText(m_options.timeout));
    std::this_thread::sleep_until(std::min(end, steady_clock::now() + reportTime));
  }
  m_unconfirmed = false;
  return nk_tools::STATUS_OK;
}

void tStation::drop() {
  if (m_link && m_options.verbose) nk_tools::sayDropped(m_link->guardCounters());
  m_lost = m_lost || m_unconfirmed;
  m_unconfirmed = m_answered = false;
  m_link.reset();
}

void tStation::close() {
  // Bytes that come for a closed socket make the system drop what is still under way to the peer.
  if (m_link && m_unconfirmed && !m_link->traffic().over)
    m_link->finish(std::min(m_options.timeout, closeTime));
  drop();
}

// Checks --link and --to, and opens the link if it is closed.
nk_tools::teExit tStation::ready() {
  m_linkWasLost = false;
  if (!m_options.link || m_options.to == nk_basicTelegram::addressNone) {
    return nk_tools::fail(nk_tools::STATUS_USAGE,
                          m_options.link ? "--to is required" : "--link is required");
  }
  if (m_answered && m_link->traffic().over) m_peerCloses = true;
  if (m_answered && m_peerCloses) drop();
  if (!m_link) {
    if (auto const status = connect()) return status;
  }
  m_begun = steady_clock::now();
  m_before = m_link->traffic();
  m_countersBefore = m_link->guardCounters();
  return nk_tools::STATUS_OK;
}

nk_tools::teExit tStation::connect() {
  nk_tools::cutFor(*m_options.link);
  asio::io_context io{1};
  auto failure = nk_tools::STATUS_OK;
  auto const opened = [this](int descriptor) {
    nk_station::tOptions options;
    options.address = m_options.from;
    options.patience = m_options.timeout + closeTime;  // the time-out of the request comes first
    options.maxBytes = tBlob::maxSize;
    if (m_options.verbose) options.logOutput = nk_tools::sayEngine;
    m_link = std::make_unique<nk_station>(descriptor, options);
    m_wasOpen = true;
  };
  auto const failed = [&](std::error_code reason) {
    if (m_options.verbose) nk_tools::say(reason.message() + "; trying again");
  };
  auto const giveUp = [&](std::error_code reason) {
    failure = m_wasOpen ? fail(nk_tools::STATUS_PROTOCOL,
                               "the link is over and cannot be opened again: " + reason.message())
                        : fail(nk_tools::STATUS_LINK, "cannot open the link: " + reason.message());
  };
  nk_dialer::tPlan plan;
  plan.giveUp = m_options.connectTimeout;
  nk_dialer dialer(io, *m_options.link, plan, {opened, failed, giveUp});
  dialer.dial();
  while (!m_link && failure == nk_tools::STATUS_OK) io.run_one();
  return failure;
}

// Says what went wrong with a request; `answer` is null if it wanted none.
nk_tools::teExit tStation::outcomeOf(tResult& result, tBlob* answer) {
  if (result.outcome == nk_station::OUTCOME_ANSWER) {
    answer->swap(result.content);
    m_answered = true;
    m_unconfirmed = false;
  }
  if (!result.reason) return nk_tools::STATUS_OK;
  m_linkWasLost = wentWithLink(result);
  if (result.reason == std::errc::timed_out) return late(answer != nullptr);
  if (result.outcome == nk_station::OUTCOME_DAMAGED)
    return fail(nk_tools::STATUS_PROTOCOL, "the answer was damaged");
  if (result.reason == std::errc::invalid_argument)
    return fail(nk_tools::STATUS_PROTOCOL, "the request could not be sent");
  return failOver(result.reason, " before it answered (" + whatCame() + ")");
}

nk_tools::teExit tStation::late(bool wantsAnswer) const {
  auto const traffic = m_link->traffic();
  auto const all = traffic.sent - m_before.sent;
  auto const left = std::min(all, 0ull + traffic.waiting + traffic.underWay);
  auto const time = secondsText(m_options.timeout);
  if (wantsAnswer && left == 0) {
    auto const whole = limits().wholeAnswer;
    auto const lacking = steady_clock::now() - m_begun < whole
                             ? "no answer in " + time
                             : "no whole answer in " + secondsText(whole);
    return fail(nk_tools::STATUS_TIMEOUT, lacking + " (" + whatCame() + ")");
  }
  auto const percent = all == 0 ? 0 : (all - left) * 100 / all;
  return fail(nk_tools::STATUS_TIMEOUT, "took no more for " + time + " (--timeout), after " +
                                            std::to_string(percent) + " % of the request");
}

// What came since the request began.
std::string tStation::whatCame() const {
  auto const bytes = m_link->traffic().received - m_before.received;
  if (bytes == 0) return "nothing came";
  auto const dropped = nk_tools::droppedText(m_link->guardCounters(), m_countersBefore);
  return dropped.empty() ? std::to_string(bytes) + " bytes came" : "nothing but " + dropped;
}

nk_tools::teExit tStation::failOver(std::error_code reason, std::string const& when) const {
  bool const inOrder = reason == std::errc::not_connected;
  return fail(
      nk_tools::STATUS_PROTOCOL,
      (inOrder ? "the peer closed the link" : "the link broke: " + reason.message()) + when);
}
