#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <string>

#include "link/dialer.h"
#include "link/listener.h"
#include "link/openLinks.h"
#include "tools/common/program.h"
#include "tools/nkdevice/panel.h"

/// The panel and its links to stations, all on one thread. Tells on standard error who connects and
/// who leaves, 60 lines a minute at most, so that a flood of connections is no flood of lines.
class tDevice {
 public:
  struct tOptions {
    nk_linkUrl link;
    unsigned int address = 0;
    nk_openLinks::tLimits limits;
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
  void linkClosed(nk_openLinks::tLink& link, std::string const& why);
  void stopIfIdle();
  void keepNowAndThen();
  void sayReady(nk_linkUrl const& url) const;
  void sayOfLinks(std::string const& line);
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
  nk_carrier::tMoment m_minute{};  // in which lines about links are counted
  unsigned int m_lines = 0;
  bool m_stopping = false;
};
