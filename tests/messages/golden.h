#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "nkProtocol/message.h"

/// What one message in one version looks like on the wire and as JSON. One runner draws every
/// conclusion from it; each message family gives its rows.
struct tGoldenRow {
  char const* name;
  std::function<std::unique_ptr<nk_message>()> make;
  /// The whole message: type, version, body.
  char const* bytes;
  /// The JSON text to the letter; "" if the message has none of its own.
  char const* json;
  /// Reading the JSON text gives a message that writes it again.
  bool jsonReadsBack = true;
  /// The message as JSON once it has refused its own text with "tv" 0; null if nothing changes.
  char const* jsonAfterOldText = nullptr;
};

std::vector<tGoldenRow> configMessageRows();
std::vector<tGoldenRow> controlMessageRows();
std::vector<tGoldenRow> displayConfigMessageRows();
std::vector<tGoldenRow> eventMessageRows();
std::vector<tGoldenRow> imageMessageRows();
std::vector<tGoldenRow> scheduleMessageRows();
std::vector<tGoldenRow> stateMessageRows();
std::vector<tGoldenRow> statisticsMessageRows();
