#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <list>
#include <memory>
#include <optional>

#include "link/carrier.h"
#include "link/dialer.h"
#include "link/listener.h"
#include "tools/common/program.h"
#include "tools/nkchaos/damage.h"

/// Carries bytes between two links and damages them on the way: each connection that comes in at
/// one gets a connection of its own to the other. All on one thread.
class tProxy {
 public:
  struct tOptions {
    nk_linkUrl link;  ///< where stations connect, or a serial line
    nk_linkUrl to;    ///< where the panel is
    tDamage::tOptions damage;
    bool verbose = false;
  };

  explicit tProxy(tOptions const& options);

  /// Runs until SIGINT or SIGTERM. Says on standard error when it is ready, with the port that the
  /// system chose, and at the end what it has done.
  nk_tools::teExit run();

 private:
  enum teWay : unsigned int { TO_PANEL, TO_STATION, WAYS };
  /// One direction of a connection: what was read and damaged, and is to be written.
  struct tFlow {
    tFlow(asio::io_context& io, tDamage with) : damage(std::move(with)), pause(io) {}
    tDamage damage;
    tDamage::tPieces pieces;
    asio::steady_timer pause;
    bool pausing = false;
    bool finished = false;
  };
  struct tConnection {
    unsigned int number = 0;
    std::array<std::unique_ptr<nk_carrier>, WAYS> sources;  // of the bytes that go each way
    std::array<std::unique_ptr<tFlow>, WAYS> flows;
    std::unique_ptr<nk_dialer> dialer;
    bool over = false;
    // Timers' handlers hold a weak pointer to it, as they may be on their way when it goes.
    std::shared_ptr<char> alive = std::make_shared<char>();
  };

  void serve(int descriptor);
  void join(tConnection& connection, int descriptor);
  std::unique_ptr<nk_carrier> carrierFor(tConnection& connection, int descriptor);
  tDamage damageFor(unsigned int connection, teWay way);
  void work(tConnection& connection);
  void carry(tConnection& connection, teWay way);
  bool writeNext(tConnection& connection, teWay way);
  void end(tConnection& connection);
  void sweep();
  void tick();
  void sayTotals() const;

  tOptions const m_options;
  asio::io_context m_io{1};
  nk_listener m_listener;
  nk_dialer m_dialer;  // of a serial line
  std::list<tConnection> m_connections;
  asio::steady_timer m_tick;
  unsigned int m_served = 0;
  tDamage::tTable<unsigned long long> m_totals{};
};
