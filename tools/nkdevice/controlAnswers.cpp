#include "nkProtocol/controlMessages.h"
#include "tools/nkdevice/panel.h"

void answerTime(tPanel&, nk_message& request, nk_serializer& answer) {
  nk_messageTime(request.version()).serializeMsg(&answer);
}

void answerShutdown(tPanel& panel, nk_message&, nk_serializer&) { panel.shutDown(); }

void answerGeneric(tPanel&, nk_message& request, nk_serializer& answer) {
  auto const& asked = static_cast<nk_messageGeneric const&>(request);
  nk_messageGenericRsp(asked.version(), asked.text1, asked.text2).serializeMsg(&answer);
}
