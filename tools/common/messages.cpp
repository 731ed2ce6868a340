#include "tools/common/messages.h"

#include <algorithm>

#include "nkProtocol/controlMessages.h"
#include "nkSupport/tJson.h"

namespace {

constexpr auto reading = nk_serializer::SER_READ;

// The types that answers have, those that a panel sends back as they came included.
constexpr nk_message::teType answerTypes[] = {
    nk_message::STATE_RSP,         nk_message::EVENTS_RSP,
    nk_message::SET_CONFIG_RSP,    nk_message::GET_DISPLAY_CONFIGURATION_RSP,
    nk_message::SET_SCHEDULES_RSP, nk_message::TIME,
    nk_message::SHUTDOWN,          nk_message::STATISTICS_RSP,
    nk_message::GENERIC_REQ,       nk_message::GENERIC_RSP};

tString genericJson(nk_messageGeneric const& message) {
  tJson json;
  json.addString("action", "generic");
  json.addString("type", message.type() == nk_message::GENERIC_REQ ? "request" : "response");
  json.addString("text1", message.text1);
  json.addString("text2", message.text2);
  return json.getJson(false);
}

}  // namespace

nk_tools::tContent::tContent(tBlob&& content) : body(std::move(content)) {
  unsigned short number = 0, revision = 0;
  if (!body.u16(number, reading) || !body.u16(revision, reading)) return;
  type = nk_message::teType(number);
  version = nk_message::teVersion(revision);
}

bool nk_tools::tContent::readInto(nk_message& message) {
  return message.serialize(&body, reading) && body.remaining() == 0;
}

std::unique_ptr<nk_message> nk_tools::readAnswer(tBlob& content) {
  tContent parts{tBlob(content)};
  if (std::find(std::begin(answerTypes), std::end(answerTypes), parts.type) ==
      std::end(answerTypes))
    return nullptr;
  std::unique_ptr<nk_message> message(nk_message::getMessage(&content));
  // The library does not tell of a body that is cut short: read once more, to see. What is left
  // over belongs to later versions.
  if (!message->serialize(&parts.body, reading)) return nullptr;
  return message;
}

tString nk_tools::messageJson(nk_message& message) {
  auto const* const generic = dynamic_cast<nk_messageGeneric const*>(&message);
  return generic != nullptr ? genericJson(*generic) : message.getJson();
}

tString nk_tools::contentJson(tBlob& content) {
  if (auto const message = readAnswer(content)) return messageJson(*message);
  tJson json;
  json.addBinary("content", content);
  json.addInt("size", content.size());
  return json.getJson(false);
}
