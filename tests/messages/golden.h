#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "nkProtocol/message.h"

/// One vector of docs/wire-format.md, as the library makes it and as JSON. One runner draws every
/// conclusion from it; each message family gives its rows.
struct tGoldenRow {
  /// Of the vector, whose bytes only the document has.
  char const* name;
  std::function<std::unique_ptr<nk_message>(nk_message::teVersion)> make;
  /// The JSON text to the letter; "" if the message has none of its own.
  char const* json;
  /// Reading the JSON text gives a message that writes it again.
  bool jsonReadsBack = true;
  /// The message as JSON once it has refused its own text with "tv" 0; null if nothing changes.
  char const* jsonAfterOldText = nullptr;
};

/// For messages that are made of a version alone.
template <class Message>
std::unique_ptr<nk_message> fresh(nk_message::teVersion version) {
  return std::make_unique<Message>(version);
}
/// For those that hold a checksum.
template <class Message>
std::unique_ptr<nk_message> withChecksum(nk_message::teVersion version, char const* checksum) {
  auto message = std::make_unique<Message>(version);
  message->setChecksum(checksum);
  return message;
}

std::vector<tGoldenRow> configMessageRows();
std::vector<tGoldenRow> controlMessageRows();
std::vector<tGoldenRow> displayConfigMessageRows();
std::vector<tGoldenRow> eventMessageRows();
std::vector<tGoldenRow> imageMessageRows();
std::vector<tGoldenRow> scheduleMessageRows();
std::vector<tGoldenRow> stateMessageRows();
std::vector<tGoldenRow> statisticsMessageRows();
