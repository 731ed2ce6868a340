#include "nkProtocol/controlMessages.h"
#include "tools/nkdevice/panel.h"

void answerTime(tPanel&, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageTime(request.version).serializeMsg(&answer);
}

void answerShutdown(tPanel& panel, nk_tools::tContent&, nk_serializer&) {
  if (!panel.mayShutDown()) return;
  panel.events().record(EVENT_SHUT_DOWN, "shut down on order" + panel.byWhom());
  panel.shutDown();
}

void answerGeneric(tPanel&, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageGenericReq const asked(&request.body, request.version);
  nk_messageGenericRsp(asked.version(), asked.text1, asked.text2).serializeMsg(&answer);
}
