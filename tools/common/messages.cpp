#include "tools/common/messages.h"

#include "nkProtocol/controlMessages.h"
#include "nkSupport/tJson.h"

namespace {

tString genericJson(nk_messageGeneric const& message) {
  tJson json;
  json.addString("action", "generic");
  json.addString("type", message.type() == nk_message::GENERIC_REQ ? "request" : "response");
  json.addString("text1", message.text1);
  json.addString("text2", message.text2);
  return json.getJson(false);
}

}  // namespace

nk_message::teType nk_tools::messageType(tBlob const& content) {
  constexpr unsigned int headerSize = 4;
  if (content.size() < headerSize) return nk_message::teType(0);
  return nk_message::teType(content.data()[0] | content.data()[1] << 8);
}

std::unique_ptr<nk_message> nk_tools::readMessage(tBlob& content) {
  if (!nk_message::hasClass(messageType(content))) return nullptr;
  return std::unique_ptr<nk_message>(nk_message::getMessage(&content));
}

tString nk_tools::messageJson(tBlob& content) {
  auto const message = readMessage(content);
  if (auto const* const generic = dynamic_cast<nk_messageGeneric const*>(message.get()))
    return genericJson(*generic);
  if (message) return message->getJson();
  tJson json;
  json.addBinary("content", content);
  json.addInt("size", content.size());
  return json.getJson(false);
}
