#pragma once

#include <chrono>
#include <functional>
#include <future>
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
  /// Told while a request goes out how many of its bytes on the link are gone.
  using tReport = std::function<void(unsigned long long gone, unsigned long long all)>;
  /// Sends a request that gets no answer. The system has taken all of it when this returns.
  nk_tools::teExit tell(tBlob& content, tReport const& report = {});
  /// Lets time pass on a link that is open. Fails as soon as the link is over.
  nk_tools::teExit pause(std::chrono::milliseconds time);
  /// Ends the link in order, so that what was sent arrives.
  void close();

 private:
  nk_tools::teExit checkOptions() const;
  nk_tools::teExit connect();
  nk_tools::teExit outcomeOf(std::future<nk_station::tResult> call, tBlob* answer);
  static nk_tools::teExit sayOver(std::error_code reason, char const* when);

  tOptions const m_options;
  std::unique_ptr<nk_station> m_link;
  std::chrono::steady_clock::time_point m_deadline;
  bool m_unconfirmed = false;  // what was sent last may not have arrived yet
};
