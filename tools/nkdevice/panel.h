#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "nkProtocol/displayConfigMessages.h"
#include "tools/common/messages.h"
#include "tools/common/program.h"
#include "tools/nkdevice/eventLog.h"
#include "tools/nkdevice/images.h"
#include "tools/nkdevice/limits.h"
#include "tools/nkdevice/lineLimit.h"
#include "tools/nkdevice/permissions.h"
#include "tools/nkdevice/settings.h"
#include "tools/nkdevice/statistics.h"
#include "tools/nkdevice/store.h"

/// The simulated panel: how it answers the messages of stations. One for all links of the program.
class tPanel {
 public:
  /// What the panel says of itself in its state, by the names of STATE_RSP.
  struct tIdentity {
    unsigned int serial = 1;
    std::string ci = "nkdevice";
    std::string vc = NK_VERSION;
    std::string va = NK_VERSION;
    std::string devCus;
  };
  struct tOptions {
    tIdentity identity;
    tStatistics::tOptions statistics;
    std::string displays;  ///< file that tells how the screen is laid out; empty: undivided
    std::string state;     ///< directory of what the panel keeps; empty: nothing outlasts it
    tLimits limits;
    unsigned long long imageRoom = 1ULL << 30;  ///< bytes that all images may have together
    tPermissions permissions;
    bool verbose = false;  ///< each request is told on standard error
  };

  /// `shutDown` is called when a station orders it, from within receive().
  tPanel(tOptions const& options, std::function<void()> shutDown);

  /// Takes over what was kept, to be called once before the first receive(). Fails if the
  /// directory cannot be had, or the file of the displays is not right.
  nk_tools::teExit load();
  /// Stores all that is not stored yet; false, said and recorded, if that fails. To be called at
  /// the end.
  bool keep();
  /// How often keepChanges() is to be called: what a kill loses of the events at most.
  static constexpr std::chrono::seconds keepInterval{2};
  /// Stores new events, tries again what failed, and stores the statistics at every 30th call.
  void keepChanges();

  /// Handles the request in `content` and puts the answer in its place. Nothing is left there if no
  /// answer is to be sent: what stays goes back to the station.
  void receive(tAsker const& asker, tBlob& content);

  tIdentity const& identity() const { return m_options.identity; }
  tSettings& settings() { return m_settings; }
  tEventLog& events() { return m_events; }
  tImages& images() { return m_images; }
  tStatistics& statistics() { return m_statistics; }
  nk_messageGetDisplayConfigurationRsp& displays() { return m_displays; }
  void shutDown() const { m_shutDown(); }

  /// For the request that is being handled, before it changes something: tells on standard error
  /// who wants `what`. False, with an event, if that station may not.
  bool mayChange(std::string const& what);
  /// The same for shutting down.
  bool mayShutDown();
  /// Names who asked, for the end of an event's text; may be empty.
  std::string byWhom() const { return m_options.permissions.by(m_asker.station); }

 private:
  bool allowed(bool may, std::string const& what);
  bool storeChanges();

  tOptions const m_options;
  std::function<void()> const m_shutDown;
  tAsker m_asker{};  // of the request that is being handled
  tStore m_store;
  tEventLog m_events;
  tSettings m_settings;
  tImages m_images;
  tStatistics m_statistics;
  nk_messageGetDisplayConfigurationRsp m_displays;
  tLineLimit m_orderLines{"orders"};
  unsigned int m_keepCalls = 0;
};

/// Handles one type of request: `request` is of the type of the row. Writes the answer, header and
/// body, to `answer`, or nothing to send none.
using tAnswerFunction = void (*)(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);

void answerTime(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerShutdown(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerGeneric(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerSetConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerSetSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerEvents(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerStatistics(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerDisplays(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void answerImage(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);

// The answers without what the request asks to do: for requests that are refused.
void tellState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void tellConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
void tellSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer);
