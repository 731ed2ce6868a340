#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "nkSupport/tJson.h"
#include "tools/nkdevice/panel.h"

void answerEvents(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageEventsReq asked(request.version);
  request.readInto(asked);
  nk_messageEventsRsp response(request.version, nullptr, nullptr);
  panel.events().addTo(response);
  response.setTask(asked.task());
  response.serializeMsg(&answer);
}

void answerStatistics(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  panel.statistics().totals(request.version).serializeMsg(&answer);
}

void answerDisplays(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  // The header says which layout the body has: that of the version asked in.
  nk_messageGetDisplayConfigurationRsp response(request.version);
  tJson json;
  panel.displays().serializeToJson(&json);
  response.serializeFromJson(&json);
  response.serializeMsg(&answer);
}

void answerImage(tPanel& panel, nk_tools::tContent& request, nk_serializer&) {
  if (!panel.mayChange("images")) return;
  auto problem = tLimits::problemOfImages(request);
  nk_messageImage message(request.version);
  if (problem.empty() && !request.readInto(message)) problem = "the message is damaged";
  if (problem.empty()) {
    panel.statistics().countImages(panel.images().handle(message));
  } else {
    panel.events().record(EVENT_REQUEST_REFUSED, "images refused: " + problem);
  }
}
