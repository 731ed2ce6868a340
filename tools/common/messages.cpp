#include "tools/common/messages.h"

#include <algorithm>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "nkSupport/tJson.h"

namespace {

constexpr auto reading = nk_serializer::SER_READ;

using tMessage = std::unique_ptr<nk_message>;

// A fresh message, for its body to be read into: nothing is read from no bytes.
template <class Message>
tMessage make(nk_message::teVersion version) {
  return std::make_unique<Message>(static_cast<nk_serializer*>(nullptr), version);
}

// Types that an answer may have, including requests that a panel echoes. The library's
// own way from a type to a message reports unknown ones on standard output, where answers go, and
// reads the body at once.
constexpr struct {
  nk_message::teType type;
  tMessage (*make)(nk_message::teVersion version);
} answers[] = {
    {nk_message::STATE_RSP, make<nk_messageStateRsp>},
    {nk_message::EVENTS_RSP, make<nk_messageEventsRsp>},
    {nk_message::SET_CONFIG_RSP, make<nk_messageSetConfigRsp>},
    {nk_message::GET_DISPLAY_CONFIGURATION_RSP, make<nk_messageGetDisplayConfigurationRsp>},
    {nk_message::SET_SCHEDULES_RSP, make<nk_messageSetSchedulesRsp>},
    {nk_message::TIME, make<nk_messageTime>},
    {nk_message::SHUTDOWN, make<nk_messageShutdown>},
    {nk_message::STATISTICS_RSP, make<nk_messageStatisticsRsp>},
    {nk_message::GENERIC_REQ, make<nk_messageGenericReq>},
    {nk_message::GENERIC_RSP, make<nk_messageGenericRsp>},
};

// Reads the rest of `content` as a message of its type; null, with the reason, if it is none.
tMessage readBody(nk_tools::tContent& content, std::string& problem) {
  auto const row = std::find_if(std::begin(answers), std::end(answers),
                                [&](auto const& each) { return each.type == content.type; });
  if (row == std::end(answers)) {
    problem = "no answer has the type " + std::to_string(content.type);
    return nullptr;
  }
  auto message = row->make(content.version);
  if (content.readInto(*message)) return message;
  auto const left = content.body.remaining();
  if (content.body.lackedMemory()) {
    problem = "there is no memory for the answer";
  } else if (content.whole) {
    problem = std::to_string(left) + (left == 1 ? " byte is" : " bytes are") + " left over";
  } else {
    problem = "the answer is cut short";
  }
  return nullptr;
}

std::string nameOf(nk_message::teType type) {
  auto const name = nk_message::typeName(type);
  return name == "invalid" ? "a message of the unknown type " + std::to_string(type)
                           : std::string(name.view());
}

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
  whole = message.serialize(&body, reading);
  return whole && body.remaining() == 0;
}

tMessage nk_tools::readAnswer(tBlob&& content, nk_message::teType type,
                              nk_message::teVersion version, std::string& problem) {
  auto const size = content.size();
  tContent parts(std::move(content));
  if (size == 0) {
    problem = "the answer is empty, or cannot be decompressed";
  } else if (size < 4) {
    problem = "the answer is cut short";
  } else if (parts.type != type) {
    problem = "expected " + nameOf(type) + " for an answer, not " + nameOf(parts.type);
  } else if (parts.version != version) {
    problem = "the answer has version " + std::to_string(parts.version) + ", asked in version " +
              std::to_string(version);
  } else {
    return readBody(parts, problem);
  }
  return nullptr;
}

tString nk_tools::messageJson(nk_message& message) {
  auto const* const generic = dynamic_cast<nk_messageGeneric const*>(&message);
  return generic != nullptr ? genericJson(*generic) : message.getJson();
}

tString nk_tools::answerJson(nk_message& answer) {
  tJson json;
  if (answer.type() != nk_message::TIME || !answer.serializeToJson(&json))
    return messageJson(answer);
  json.addString("type", "response");
  return json.getJson(false);
}

tString nk_tools::contentJson(tBlob const& content) {
  std::string problem;
  tContent parts{tBlob(content)};
  if (auto const message = readBody(parts, problem)) return answerJson(*message);
  tJson json;
  json.addBinary("content", content);
  json.addInt("size", content.size());
  return json.getJson(false);
}
