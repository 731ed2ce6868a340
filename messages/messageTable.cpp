#include "messages/messageTable.h"

#include <iterator>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/imageMessage.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
#include "nkProtocol/statisticsMessages.h"

namespace {

template <class Message>
nk_message* make(nk_serializer* ser, nk_message::teVersion version) {
  return new Message(ser, version);
}

constexpr char const* request = "request";
constexpr char const* response = "response";

// Row n holds type n + 1.
#define NK_KIND(name) nk_message::name, #name
constexpr nk_messageKind kinds[] = {
    {NK_KIND(STATE_REQ), "state", request, make<nk_messageStateReq>},
    {NK_KIND(STATE_RSP), "state", response, make<nk_messageStateRsp>},
    {NK_KIND(EVENTS_REQ), "events", request, make<nk_messageEventsReq>},
    {NK_KIND(EVENTS_RSP), "events", response, make<nk_messageEventsRsp>},
    {NK_KIND(SET_CONFIG_REQ), "config", request, make<nk_messageSetConfigReq>},
    {NK_KIND(SET_CONFIG_RSP), "config", response, make<nk_messageSetConfigRsp>},
    {NK_KIND(GET_DISPLAY_CONFIGURATION_REQ), "displayConfig", request,
     make<nk_messageGetDisplayConfigurationReq>},
    {NK_KIND(GET_DISPLAY_CONFIGURATION_RSP), "displayConfig", response,
     make<nk_messageGetDisplayConfigurationRsp>},
    {NK_KIND(SET_SCHEDULES_REQ), "schedules", request, make<nk_messageSetSchedulesReq>},
    {NK_KIND(SET_SCHEDULES_RSP), "schedules", response, make<nk_messageSetSchedulesRsp>},
    {NK_KIND(TIME), "time", request, make<nk_messageTime>},
    {NK_KIND(SHUTDOWN), "shutdown", request, make<nk_messageShutdown>},
    {NK_KIND(IMAGE), "images", request, make<nk_messageImage>},
    {NK_KIND(STATISTICS_REQ), "statistics", request, make<nk_messageStatisticsReq>},
    {NK_KIND(STATISTICS_RSP), "statistics", response, make<nk_messageStatisticsRsp>},
    // PEER: the TAVO numbers are reserved; peers that use them are told apart by name only.
    {NK_KIND(TAVO_AUTHORIZE_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_AUTHORIZE_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_DEVICE_LIST_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_DEVICE_LIST_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_CONFIG_LIST_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_CONFIG_LIST_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_REMOVE_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_REMOVE_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_ADD_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_ADD_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_ASSIGNMENT_REQ), nullptr, nullptr, nullptr},
    {NK_KIND(TAVO_ASSIGNMENT_RSP), nullptr, nullptr, nullptr},
    {NK_KIND(GENERIC_REQ), nullptr, nullptr, make<nk_messageGenericReq>},
    {NK_KIND(GENERIC_RSP), nullptr, nullptr, make<nk_messageGenericRsp>},
};
#undef NK_KIND

constexpr bool rowsStandAtTheirNumbers() {
  unsigned int number = 0;
  for (auto const& kind : kinds) {
    if (kind.type != ++number) return false;
  }
  return number == nk_message::GENERIC_RSP;
}
static_assert(rowsStandAtTheirNumbers());

}  // namespace

nk_messageKind const* messageKind(nk_message::teType type) {
  return type >= 1 && type <= std::size(kinds) ? &kinds[type - 1] : nullptr;
}
