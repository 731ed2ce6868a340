#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <string>

#include "link/dialer.h"
#include "link/listener.h"
#include "link/openLinks.h"
#include "tools/common/program.h"
#include "tools/nkdevice/lineLimit.h"
#include "tools/nkdevice/panel.h"

/// The panel and its links to stations, all on one thread. Tells on standard error who connects and
/// who leaves, and who is refused or has to go; tLineLimit bounds both.
class tDevice {
 public:
  struct tOptions {
    nk_linkUrl link;
    unsigned int address = 0;
    nk_openLinks::tLimits limits;
    nk_peerList peers;  ///< who may connect
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
  nk_openLinks::tReports reports();
  bool isSerial() const { return m_options.link.kind == nk_linkUrl::KIND_SERIAL; }
  bool listen();
  void accept(int descriptor);
  void linkClosed(nk_openLinks::tLink& link, std::string const& why);
  void stopIfIdle();
  void keepNowAndThen();
  void sayReady(nk_linkUrl const& url) const;
  void sayUnavailable(std::error_code reason);

  tOptions const m_options;
  asio::io_context m_io{1};
  tPanel m_panel;
  nk_listener m_listener;
  nk_dialer m_dialer;
  nk_openLinks m_links;
  asio::steady_timer m_stopTimer;
  asio::steady_timer m_keepTimer;
  std::error_code m_saidReason;
  tLineLimit m_usualLines{"connections"}, m_unusualLines{"connections"};
  bool m_stopping = false;
};
