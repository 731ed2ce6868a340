#pragma once

#include <memory>

#include "fuzz.h"
#include "nkProtocol/message.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tJson.h"

/// What holds for every message, however it came about.
namespace fuzz {

using tMessage = std::unique_ptr<nk_message>;

inline tMessage read(tBlob bytes) { return tMessage(nk_message::getMessage(&bytes)); }

/// A message of which nothing has been read yet; null for numbers without a class.
inline tMessage fresh(unsigned short type, unsigned short version) {
  nk_serializer header;
  header.u16(type, nk_serializer::SER_WRITE);
  header.u16(version, nk_serializer::SER_WRITE);
  return read(tBlob(&header));
}

inline tBlob written(nk_message& message) {
  nk_serializer bytes;
  require(message.serializeMsg(&bytes), "every message can be written");
  return tBlob(&bytes);
}

/// Returns the bytes.
inline tBlob settlesInBinary(nk_message& message) {
  tBlob bytes = written(message);
  require(written(message) == bytes, "writing changes nothing");
  auto const again = read(bytes);
  require(again != nullptr && written(*again) == bytes, "what was written reads back");
  return bytes;
}

/// The JSON text of a fresh message that has read `text`.
inline tString rewritten(nk_message const& message, tString const& text) {
  tJson json;
  require(json.parse(text.view()), "the JSON form is JSON");
  auto const again = fresh(message.type(), message.version());
  require(again->serializeFromJson(&json), "and is accepted");
  return again->getJson();
}

inline void settlesInJson(nk_message& message) {
  tString const text = message.getJson();
  tString const once = rewritten(message, text);
  // Schedules are read with shared entries; of statistics only the count is read.
  bool const loses = message.type() == nk_message::SET_SCHEDULES_REQ ||
                     message.type() == nk_message::STATISTICS_RSP;
  require(loses || once == text, "the JSON form reads back");
  require(rewritten(message, once) == once, "at the second time without loss");
}

}  // namespace fuzz
