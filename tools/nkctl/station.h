#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <optional>

#include "link/linkUrl.h"
#include "link/station.h"
#include "tools/common/program.h"

/// The station's end of a link to one panel, or to all of them by broadcast. Each call blocks until
/// its work is done or has failed, and says on standard error why it failed. Commands that need no
/// panel do not call it: that link and address are there is looked at by the first call.
class tStation {
 public:
  struct tOptions {
    std::optional<nk_linkUrl> link;                   ///< must be given
    unsigned int to = nk_basicTelegram::addressNone;  ///< must be given
    unsigned int from = 1;
    std::chrono::milliseconds timeout{5000};
    std::chrono::milliseconds connectTimeout{2000};
    bool verbose = false;
  };

  /// Lets this process number its requests from anywhere: answers are known by their number alone,
  /// and those to the requests of an earlier run may still be under way.
  explicit tStation(tOptions const& options);

  /// Sends the request `content`, which is consumed, and waits for the first answer to it. The link
  /// is opened if it is not open yet.
  nk_tools::teExit ask(tBlob& content, tBlob& answer);
  /// Sends a request that gets no answer. The system has taken all of it when this returns.
  nk_tools::teExit tell(tBlob& content);
  /// Ends the link in order, so that what was sent arrives.
  void close();

 private:
  nk_tools::teExit checkOptions() const;
  nk_tools::teExit connect();
  nk_tools::teExit outcomeOf(std::future<nk_station::tResult> call, tBlob* answer);

  tOptions const m_options;
  std::unique_ptr<nk_station> m_link;
  std::chrono::steady_clock::time_point m_deadline;
  bool m_unconfirmed = false;  // what was sent last may not have arrived yet
};
