#include "link/dialer.h"

#include <algorithm>
#include <asio/connect.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
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
      m_url(std::move(url)),
      m_plan(plan),
      m_reports(std::move(reports)),
      m_socket(std::make_shared<tSocket>(io)),
      m_pauseTimer(io),
      m_giveUpTimer(io),
      m_pause(plan.firstPause) {}

// The timers and the handlers' weak pointer end by themselves.
nk_dialer::~nk_dialer() {
  std::error_code ignored;
  m_socket->close(ignored);
}

void nk_dialer::dial() {
  m_pause = m_plan.firstPause;
  begin();
  asio::post(m_io, [this, alive = std::weak_ptr(m_alive)] {
    if (!alive.expired()) attempt();
  });
}

void nk_dialer::redial() {
  if (tClock::now() - m_opened > m_plan.longestPause) m_pause = m_plan.firstPause;
  begin();
  pauseAndAttempt();
}

void nk_dialer::begin() {
  cancel();
  m_alive = std::make_shared<char>();
  m_reason = std::make_error_code(std::errc::timed_out);
  m_expired = m_plan.giveUp == tDuration::zero();
  if (!m_plan.giveUp || m_expired) return;
  m_giveUpTimer.expires_after(*m_plan.giveUp);
  m_giveUpTimer.async_wait([this, alive = std::weak_ptr(m_alive)](std::error_code) {
    if (alive.expired()) return;
    m_expired = true;
    std::error_code ignored;
    m_socket->close(ignored);
    m_pauseTimer.cancel();
  });
}

void nk_dialer::cancel() {
  m_alive.reset();
  m_pauseTimer.cancel();
  m_giveUpTimer.cancel();
  std::error_code ignored;
  m_socket->close(ignored);
}

void nk_dialer::attempt() {
  if (m_url.kind != nk_linkUrl::KIND_SERIAL) return attemptSocket();
  std::error_code error;
  int const descriptor = nk_openSerialLine(m_url, error);
  error ? retry(error) : done(descriptor);
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
                        problem ? retry(problem) : done(descriptor);
                      });
}

void nk_dialer::done(int descriptor) {
  cancel();
  m_opened = tClock::now();
  m_reports.opened(descriptor);
}

void nk_dialer::retry(std::error_code reason) {
  // A try that was broken off says nothing; the one before it does, if there was one.
  if (!m_expired || reason != asio::error::operation_aborted) m_reason = nk_systemError(reason);
  if (m_expired) {
    cancel();
    return m_reports.gaveUp(m_reason);
  }
  if (m_reports.failed) m_reports.failed(m_reason);
  pauseAndAttempt();
}

void nk_dialer::pauseAndAttempt() {
  m_pauseTimer.expires_after(m_pause);
  m_pause = std::min(m_pause * 2, m_plan.longestPause);
  m_pauseTimer.async_wait([this, alive = std::weak_ptr(m_alive)](std::error_code) {
    if (alive.expired()) return;
    bool const tooLate = m_expired && m_plan.giveUp != tDuration::zero();
    tooLate ? retry(asio::error::operation_aborted) : attempt();
  });
}
