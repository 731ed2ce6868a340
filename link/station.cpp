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

// The core with the io_context that it runs on. Takes `descriptor` over even if it throws.
std::shared_ptr<nk_station::tCore> makeCore(int descriptor, nk_station::tOptions const& options) {
  struct tLoop {
    tLoop(nk_station::tCore::tOwned& owned, nk_station::tOptions const& settings)
        : core(io, owned, settings) {}
    asio::io_context io{1};
    nk_station::tCore core;
  };
  nk_station::tCore::tOwned owned{descriptor};
  auto const loop = std::make_shared<tLoop>(owned, options);
  return {loop, &loop->core};
}

}  // namespace

nk_station::nk_station(int descriptor, tOptions const& options)
    : m_core(makeCore(descriptor, options)),
      // The thread has a share: it may still be on its way out when the station is gone.
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

nk_station::tTicket nk_station::ask(tBlob&& content, unsigned int destination,
                                    tTimeouts const& timeouts, tDone done) {
  return m_core->accept(std::move(content), destination, timeouts, std::move(done), true);
}

nk_station::tTicket nk_station::tell(tBlob&& content, unsigned int destination,
                                     tTimeouts const& timeouts, tDone done) {
  return m_core->accept(std::move(content), destination, timeouts, std::move(done), false);
}

tFuture nk_station::ask(tBlob&& content, unsigned int destination, tTimeouts const& timeouts) {
  return futureOf(
      [&](tDone done) { return ask(std::move(content), destination, timeouts, std::move(done)); });
}

tFuture nk_station::tell(tBlob&& content, unsigned int destination, tTimeouts const& timeouts) {
  return futureOf(
      [&](tDone done) { return tell(std::move(content), destination, timeouts, std::move(done)); });
}

void nk_station::cancel(tTicket ticket) { m_core->requestCancel(ticket); }

void nk_station::finish(tDuration patience) {
  if (m_thread.get_id() == std::this_thread::get_id()) return;
  m_core->requestFinish(patience).wait();
}

nk_linkGuard::tCounters nk_station::guardCounters() const { return m_core->guardCounters(); }

nk_station::tTraffic nk_station::traffic() const { return m_core->traffic(); }
