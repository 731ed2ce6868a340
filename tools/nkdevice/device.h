#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <list>
#include <memory>

#include "link/dialer.h"
#include "link/linkedEngine.h"
#include "link/listener.h"
#include "tools/common/program.h"
#include "tools/nkdevice/panel.h"

/// The panel's links to its stations: one engine for each connection, all on one thread.
class tDevice {
 public:
  struct tOptions {
    nk_linkUrl link;
    unsigned int address = 0;
    unsigned int mostLinks = 64;  ///< connections at once
    tPanel::tOptions panel;
  };

  explicit tDevice(tOptions const& options);

  /// Serves until stop(). Says on standard error when it is ready, with the port that the system
  /// chose. A socket that cannot be opened and a state that is not to be had at the start end it; a
  /// serial line is tried again for ever. STATUS_OTHER if the state cannot be written at the end.
  nk_tools::teExit run();
  /// Ends run() once the answers that wait have been sent, or soon in any case.
  void stop();

 private:
  void serve(int descriptor);
  void sweep();
  void keepNowAndThen();
  void sayReady(nk_linkUrl const& url) const;
  void sayUnavailable(std::error_code reason);

  tOptions const m_options;
  asio::io_context m_io{1};
  tPanel m_panel;
  nk_listener m_listener;
  nk_dialer m_dialer;
  std::list<nk_linkedEngine> m_links;
  asio::steady_timer m_stopTimer;
  asio::steady_timer m_keepTimer;
  std::error_code m_saidReason;
  bool m_saidFull = false;
  bool m_stopping = false;
};
