#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "link/linkUrl.h"
#include "link/station.h"
#include "nkProtocol/message.h"
#include "tools/common/program.h"

/// The version of messages that has all fields that there are.
constexpr auto newestVersion = nk_message::VERSION_3;

/// The station's end of a link to one panel, or to all of them by broadcast. Each call blocks until
/// its work is done or has failed, and says on standard error why it failed. Commands that need no
/// panel do not call it. The first call checks that --link and --to are set.
///
/// A panel may end the link behind an answer: the next request then opens it again.
class tStation {
 public:
  struct tOptions {
    std::optional<nk_linkUrl> link;                   ///< must be given
    unsigned int to = nk_basicTelegram::addressNone;  ///< must be given
    unsigned int from = 1;
    /// Without progress: while a request goes out, and for the answer from then on.
    std::chrono::milliseconds timeout{5000};
    std::chrono::milliseconds connectTimeout{2000};
    std::optional<nk_message::teVersion> version;  ///< of all messages, if one was asked for
    bool verbose = false;
  };

  /// Lets this process number its requests from anywhere: answers are known by their number alone,
  /// and those to the requests of an earlier run may still be under way.
  explicit tStation(tOptions const& options);

  /// Sends the request `content`, which is consumed, and waits for the first answer to it. The link
  /// is opened if it is not open yet.
  nk_tools::teExit ask(tBlob& content, tBlob& answer);
  /// Sends several requests at once, which are consumed, and waits for all of them. `answer` is
  /// that to the first of them that was answered.
  nk_tools::teExit askFirst(std::vector<tBlob>& contents, tBlob& answer);
  /// Told while a request goes out how many of its bytes on the link are gone; of 0 bytes in all
  /// once it has failed.
  using tReport = std::function<void(unsigned long long gone, unsigned long long all)>;
  /// Sends a request that gets no answer. The system has taken all of it when this returns.
  nk_tools::teExit tell(tBlob& content, tReport const& report = {});
  /// Lets time pass. Fails as soon as the link breaks, or nobody reads the output. A panel may end
  /// the link meanwhile if it has answered on it.
  nk_tools::teExit pause(std::chrono::milliseconds time);
  /// Waits for the panel to end the link, as it does when it shuts down.
  nk_tools::teExit awaitEnd();
  /// Closes the link at once, and with --verbose says what its guard dropped. The next request
  /// opens the link again.
  void drop();
  /// Like drop(), but ends a link that is not over in order, so that what was sent arrives.
  void close();

  /// The version in which to ask: the one that was asked for, that of setVersion, or `usual`.
  nk_message::teVersion version(nk_message::teVersion usual = newestVersion) const;
  /// From now on the panel's.
  void setVersion(nk_message::teVersion version) { m_version = version; }
  bool versionWasAskedFor() const { return m_options.version.has_value(); }
  /// True if the last request got no answer because its link ended or broke.
  bool linkWasLost() const { return m_linkWasLost; }
  /// True if, since the last call, requests without an answer may have got lost with their link.
  bool lostRequests() { return std::exchange(m_lost, false); }

  /// "tcp://127.0.0.1:4711, panel 2".
  std::string name() const;
  /// Says what is wrong with this panel, and returns `status`.
  nk_tools::teExit fail(nk_tools::teExit status, std::string_view problem) const;
  /// Says nothing of what fails from now on, or says it again.
  void setQuiet(bool quiet) { m_quiet = quiet; }

 private:
  using tResult = nk_station::tResult;

  nk_station::tTimeouts limits() const;
  nk_tools::teExit ready();
  nk_tools::teExit connect();
  tResult wait(tBlob& content);
  nk_tools::teExit outcomeOf(tResult& result, tBlob* answer);
  nk_tools::teExit late(bool wantsAnswer) const;
  std::string whatCame() const;
  nk_tools::teExit failOver(std::error_code reason, std::string const& when) const;

  tOptions const m_options;
  std::optional<nk_message::teVersion> m_version;
  std::unique_ptr<nk_station> m_link;
  std::chrono::steady_clock::time_point m_begun;  // the last request
  nk_station::tTraffic m_before;                  // then
  nk_linkGuard::tCounters m_countersBefore;
  bool m_wasOpen = false;      // the link was open before, so it cannot be misspelt
  bool m_answered = false;     // the link has brought an answer
  bool m_peerCloses = false;   // the panel ends links behind answers
  bool m_unconfirmed = false;  // what was sent last may not have arrived
  bool m_lost = false;
  bool m_linkWasLost = false;
  bool m_quiet = false;
};
