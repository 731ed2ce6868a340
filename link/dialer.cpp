#include "link/dialer.h"

#include <algorithm>
#include <asio/connect.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/local/stream_protocol.hpp>
#include <utility>
#include <vector>

#include "link/serialLine.h"
#include "link/systemError.h"

namespace {

using tEndpoint = asio::generic::stream_protocol::endpoint;

std::vector<tEndpoint> endpointsOf(asio::io_context& io, nk_linkUrl const& url,
                                   std::error_code& error) {
  if (url.kind == nk_linkUrl::KIND_UNIX) return {asio::local::stream_protocol::endpoint(url.path)};
  asio::ip::tcp::resolver resolver(io);
  std::vector<tEndpoint> found;
  for (auto const& entry : resolver.resolve(url.host, std::to_string(url.port),
                                            asio::ip::resolver_base::numeric_service, error))
    found.emplace_back(entry.endpoint());
  return found;
}

}  // namespace

nk_dialer::nk_dialer(asio::io_context& io, nk_linkUrl url, tPlan const& plan, tReports reports)
    : m_io(io),
      m_clock(nk_clock::of(io)),
      m_url(std::move(url)),
      m_plan(plan),
      m_reports(std::move(reports)),
      m_socket(std::make_shared<tSocket>(io)),
      m_pauseTimer(io),
      m_giveUpTimer(io),
      m_pause(plan.firstPause) {}

nk_dialer::~nk_dialer() { cancel(); }

void nk_dialer::dial() {
  m_pause = m_plan.firstPause;
  begin();
  attemptAfter(tDuration::zero());
}

void nk_dialer::redial() {
  if (m_clock.now() - m_opened > m_plan.longestPause) m_pause = m_plan.firstPause;
  begin();
  attemptAfter(nextPause());
}

void nk_dialer::begin() {
  cancel();
  m_alive = std::make_shared<char>();
  m_reason = std::make_error_code(std::errc::timed_out);
  m_lastTry = m_plan.giveUp == tDuration::zero();
  if (!m_plan.giveUp || m_lastTry) return;
  m_giveUpTimer.after(*m_plan.giveUp, [this] { giveUp(); });
}

void nk_dialer::cancel() {
  m_alive.reset();
  m_pauseTimer.cancel();
  m_giveUpTimer.cancel();
  std::error_code ignored;
  m_socket->close(ignored);
}

void nk_dialer::giveUp() {
  cancel();
  m_reports.gaveUp(m_reason);
}

nk_dialer::tDuration nk_dialer::nextPause() {
  return std::exchange(m_pause, std::min(m_pause * 2, m_plan.longestPause));
}

void nk_dialer::attemptAfter(tDuration pause) {
  m_pauseTimer.after(pause, [this] { attempt(); });
}

void nk_dialer::attempt() {
  if (m_url.kind != nk_linkUrl::KIND_SERIAL) return attemptSocket();
  std::error_code error;
  int const descriptor = nk_openSerialLine(m_url, error);
  if (error) {
    retry(error);
  } else {
    done(descriptor);
  }
}

void nk_dialer::attemptSocket() {
  std::error_code error;
  auto const endpoints = endpointsOf(m_io, m_url, error);
  if (error) return retry(error);
  asio::async_connect(*m_socket, endpoints,
                      [this, socket = m_socket, alive = std::weak_ptr(m_alive)](
                          std::error_code problem, tEndpoint const&) {
                        if (alive.expired()) return;
                        int const descriptor = problem ? -1 : socket->release(problem);
                        if (problem) {
                          retry(problem);
                        } else {
                          done(descriptor);
                        }
                      });
}

void nk_dialer::done(int descriptor) {
  cancel();
  m_opened = m_clock.now();
  m_reports.opened(descriptor);
}

void nk_dialer::retry(std::error_code reason) {
  m_reason = nk_systemError(reason);
  if (m_lastTry) return giveUp();
  auto const alive = std::weak_ptr(m_alive);
  if (m_reports.failed) m_reports.failed(m_reason);
  if (!alive.expired()) attemptAfter(nextPause());  // the report may have cancelled
}
