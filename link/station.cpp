#include "link/station.h"

#include "link/stationCore.h"

namespace {

using tFuture = std::future<nk_station::tResult>;

// Calls `request` with a completion that fulfils the future.
template <class tRequest>
tFuture futureOf(tRequest const& request) {
  auto const promise = std::make_shared<std::promise<nk_station::tResult>>();
  auto const ticket =
      request([promise](nk_station::tResult&& result) { promise->set_value(std::move(result)); });
  return ticket != nk_station::refused ? promise->get_future() : tFuture();
}

}  // namespace

nk_station::nk_station(int descriptor, tOptions const& options)
    : m_core(tCore::make(descriptor, options)),
      // The thread has a share, for it may be still on its way out when the station is gone.
      m_thread([core = m_core] { core->run(); }) {}

nk_station::~nk_station() {
  if (m_thread.get_id() == std::this_thread::get_id()) {
    m_core->shutDown();
    m_thread.detach();
  } else {
    m_core->requestShutDown();
    m_thread.join();
  }
}

nk_station::tTicket nk_station::ask(tBlob&& content, unsigned int destination, tDuration timeout,
                                    tDone done) {
  return m_core->accept(std::move(content), destination, timeout, std::move(done), true);
}

nk_station::tTicket nk_station::tell(tBlob&& content, unsigned int destination, tDuration timeout,
                                     tDone done) {
  return m_core->accept(std::move(content), destination, timeout, std::move(done), false);
}

tFuture nk_station::ask(tBlob&& content, unsigned int destination, tDuration timeout) {
  return futureOf(
      [&](tDone done) { return ask(std::move(content), destination, timeout, std::move(done)); });
}

tFuture nk_station::tell(tBlob&& content, unsigned int destination, tDuration timeout) {
  return futureOf(
      [&](tDone done) { return tell(std::move(content), destination, timeout, std::move(done)); });
}

void nk_station::cancel(tTicket ticket) { m_core->requestCancel(ticket); }

void nk_station::finish(tDuration patience) {
  if (m_thread.get_id() == std::this_thread::get_id()) return;
  m_core->requestFinish(patience).wait();
}

nk_linkGuard::tCounters nk_station::guardCounters() const { return m_core->guardCounters(); }

nk_station::tTraffic nk_station::traffic() const { return m_core->traffic(); }
