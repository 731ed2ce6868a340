#include "nkProtocol/stateMessages.h"
#include "tools/nkdevice/panel.h"

namespace {

void recordOutcome(tPanel& panel, teEvent event, std::string const& what,
                   std::string const& problem) {
  if (problem.empty()) {
    panel.events().record(event, what + " set" + panel.byWhom());
  } else {
    panel.events().record(EVENT_REQUEST_REFUSED,
                          what + " refused: " + problem + "; what was set before stays in force");
  }
}

void perform(tPanel& panel, nk_tools::tContent& request) {
  nk_messageStateReq asked(request.version);
  if (!request.readInto(asked)) {
    panel.events().record(EVENT_REQUEST_REFUSED, "task of STATE_REQ refused: it is damaged");
  } else if (asked.task() == nk_messageStateReq::TASK_NEW_NAME) {
    if (!panel.mayChange("new name")) return;
    recordOutcome(panel, EVENT_NAME_SET, "new name", panel.settings().setName(asked.newName()));
  } else if (asked.task() != nk_messageStateReq::TASK_NONE) {
    panel.events().record(
        EVENT_REQUEST_REFUSED,
        "task of STATE_REQ refused: " + std::to_string(asked.task()) + " is no task of this panel");
  }
}

}  // namespace

void answerState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  perform(panel, request);
  tellState(panel, request, answer);
}

void tellState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  auto const& settings = panel.settings();
  auto const text = [](std::string const& own) { return tString(std::string_view(own)); };
  auto const& own = panel.identity();
  nk_messageStateRsp state(request.version);
  state.set(own.serial, text(own.ci), settings.configChecksum(request.version),
            settings.schedulesChecksum(request.version), 0, 0, text(own.vc), text(own.va),
            panel.events().count(), "", settings.name(), text(own.devCus), panel.images().uids());
  state.serializeMsg(&answer);
}

// The answer is the same whether the set was taken or refused: its checksum tells the station what
// is in force.
void answerSetConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  if (panel.mayChange("configuration")) {
    recordOutcome(panel, EVENT_CONFIGURATION_SET, "configuration",
                  panel.settings().setConfig(request));
  }
  tellConfig(panel, request, answer);
}

void tellConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageSetConfigRsp response(request.version);
  response.setChecksum(panel.settings().configChecksum(request.version));
  response.serializeMsg(&answer);
}

void answerSetSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  if (panel.mayChange("schedules")) {
    recordOutcome(panel, EVENT_SCHEDULES_SET, "schedules", panel.settings().setSchedules(request));
  }
  tellSchedules(panel, request, answer);
}

void tellSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  nk_messageSetSchedulesRsp response(request.version);
  response.setChecksum(panel.settings().schedulesChecksum(request.version));
  response.serializeMsg(&answer);
}
