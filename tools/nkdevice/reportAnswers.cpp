#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "nkSupport/tJson.h"
#include "tools/nkdevice/panel.h"

void answerEvents(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageEventsReq asked(request.version);
  request.readInto(asked);
  nk_messageEventsRsp response(request.version, nullptr, nullptr);
  response.setFrom(panel.events().events());
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
  nk_messageImage message(request.version);
  if (request.readInto(message)) {
    panel.statistics().countImages(panel.images().handle(message));
  } else {
    panel.events().record(EVENT_REQUEST_REFUSED, "images refused: the message is damaged");
  }
}
