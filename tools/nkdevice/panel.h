#pragma once

#include <functional>

#include "nkProtocol/message.h"
#include "nkProtocol/serializer.h"

/// The simulated panel: how it answers the messages of stations. One for all links of the program.
class tPanel {
 public:
  /// `shutDown` is called when a station orders it, from within receive(). With `verbose` each
  /// request is told on standard error.
  tPanel(bool verbose, std::function<void()> shutDown);

  /// Handles the request in `content` and puts the answer in its place. Nothing is left there if no
  /// answer is to be sent: what stays goes back to the station.
  void receive(unsigned int source, tBlob& content);
  /// receive() for the engine; `context` is the panel.
  static void receiveFor(unsigned int source, tBlob* content, void* context);

  void shutDown() const { m_shutDown(); }

 private:
  bool const m_verbose;
  std::function<void()> const m_shutDown;
};

/// Handles one type of request: `request` is of the class that belongs to the type of the row.
/// Writes the answer, header and body, to `answer`, or nothing to send none.
using tAnswerFunction = void (*)(tPanel& panel, nk_message& request, nk_serializer& answer);

void answerTime(tPanel& panel, nk_message& request, nk_serializer& answer);
void answerShutdown(tPanel& panel, nk_message& request, nk_serializer& answer);
void answerGeneric(tPanel& panel, nk_message& request, nk_serializer& answer);
