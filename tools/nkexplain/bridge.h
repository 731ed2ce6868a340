#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "link/carrier.h"
#include "link/dialer.h"
#include "link/linkUrl.h"
#include "link/listener.h"
#include "tools/common/program.h"
#include "tools/nkexplain/recorder.h"
#include "tools/nkexplain/stream.h"

namespace nk_explain {

/// Explains live links. Either it stands between stations and a panel: it listens, opens the
/// panel's link for each station that comes, and passes all bytes on as they are. Or it only
/// listens to what comes from one link. It ends on SIGINT and SIGTERM, and with the last who reads
/// what it tells: bytes that cross it unseen are not what it is there for.
class tBridge {
 public:
  struct tOptions {
    nk_linkUrl link;                   ///< the panel's
    std::optional<nk_linkUrl> listen;  ///< where stations come; none to only listen to the link
    std::string record;                ///< file to record to; may be empty
  };

  /// `nobodyReads` is asked several times a second; the bridge ends once it says true.
  tBridge(tOptions const& options, tTeller tell, std::function<bool()> nobodyReads);
  /// Blocks until the end. Throws std::system_error if the record cannot be written.
  nk_tools::teExit run();

 private:
  // One station and its link to the panel.
  struct tPair;

  void tick();
  void accept(int descriptor);
  void dial(std::shared_ptr<tPair> const& pair);
  void open(tPair& pair, int descriptor);
  void pass(tPair& pair);
  bool move(tPair& pair, bool byStation);
  void close(tPair& pair);

  asio::io_context m_io{1};
  asio::steady_timer m_timer{m_io};
  tOptions const m_options;
  tTeller const m_tell;
  std::function<bool()> const m_nobodyReads;
  nk_listener m_listener;
  std::optional<tRecorder> m_recorder;
  std::list<std::shared_ptr<tPair>> m_pairs;
  unsigned int m_count = 0;
  nk_tools::teExit m_status = nk_tools::STATUS_OK;
};

}  // namespace nk_explain
