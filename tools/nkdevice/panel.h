#pragma once

#include <functional>
#include <string>

#include "tools/common/messages.h"
#include "tools/nkdevice/settings.h"
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
    std::string state;     ///< directory of what the panel keeps; empty: nothing outlasts it
    bool verbose = false;  ///< each request is told on standard error
  };

  /// `shutDown` is called when a station orders it, from within receive().
  tPanel(tOptions const& options, std::function<void()> shutDown);

  /// Takes over what was kept, to be called once before the first receive(). False if the directory
  /// cannot be had.
  bool load();

  /// Handles the request in `content` and puts the answer in its place. Nothing is left there if no
  /// answer is to be sent: what stays goes back to the station.
  void receive(unsigned int source, tBlob& content);
  /// receive() for the engine; `context` is the panel.
  static void receiveFor(unsigned int source, tBlob* content, void* context);

  tIdentity const& identity() const { return m_options.identity; }
  tSettings& settings() { return m_settings; }
  void shutDown() const { m_shutDown(); }

 private:
  tOptions const m_options;
  std::function<void()> const m_shutDown;
  tStore const m_store;
  tSettings m_settings;
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
