#include "nkProtocol/stateMessages.h"
#include "tools/nkdevice/panel.h"

namespace {

// The answer is the same either way: its checksum tells the station what is in force.
void recordOutcome(tPanel& panel, bool done, teEvent event, std::string const& what) {
  if (done) {
    panel.events().record(event, what + " set" + panel.byWhom());
  } else {
    panel.events().record(EVENT_REQUEST_REFUSED,
                          what + " refused; what was set before stays in force");
  }
}

}  // namespace

void answerState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  auto& settings = panel.settings();
  nk_messageStateReq asked(request.version);
  if (request.readInto(asked) && asked.task() == nk_messageStateReq::TASK_NEW_NAME &&
      panel.mayChange("new name")) {
    recordOutcome(panel, settings.setName(asked.newName()), EVENT_NAME_SET, "new name");
  }
  auto const text = [](std::string const& own) { return tString(std::string_view(own)); };
  auto const& own = panel.identity();
  nk_messageStateRsp state(request.version);
  state.set(own.serial, text(own.ci), settings.configChecksum(request.version),
            settings.schedulesChecksum(request.version), 0, 0, text(own.vc), text(own.va),
            panel.events().events().count(), "", settings.name(), text(own.devCus),
            panel.images().uids());
  state.serializeMsg(&answer);
}

void answerSetConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  if (panel.mayChange("configuration")) {
    recordOutcome(panel, panel.settings().setConfig(request), EVENT_CONFIGURATION_SET,
                  "configuration");
  }
  nk_messageSetConfigRsp response(request.version);
  response.setChecksum(panel.settings().configChecksum(request.version));
  response.serializeMsg(&answer);
}

void answerSetSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  if (panel.mayChange("schedules")) {
    recordOutcome(panel, panel.settings().setSchedules(request), EVENT_SCHEDULES_SET, "schedules");
  }
  nk_messageSetSchedulesRsp response(request.version);
  response.setChecksum(panel.settings().schedulesChecksum(request.version));
  response.serializeMsg(&answer);
}
