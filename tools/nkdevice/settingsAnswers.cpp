#include "nkProtocol/stateMessages.h"
#include "tools/common/program.h"
#include "tools/nkdevice/panel.h"

namespace {

// The answer is the same either way: its checksum tells the station what is in force.
void sayUnlessDone(bool done, char const* what) {
  if (!done) nk_tools::say(std::string(what) + " refused; what was set before stays in force");
}

}  // namespace

void answerState(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  auto& settings = panel.settings();
  nk_messageStateReq asked(request.version);
  if (request.readInto(asked) && asked.task() == nk_messageStateReq::TASK_NEW_NAME) {
    sayUnlessDone(settings.setName(asked.newName()), "new name");
  }
  auto const text = [](std::string const& own) { return tString(std::string_view(own)); };
  auto const& own = panel.identity();
  nk_messageStateRsp state(request.version);
  state.set(own.serial, text(own.ci), settings.configChecksum(request.version),
            settings.schedulesChecksum(request.version), 0, 0, text(own.vc), text(own.va), 0, "",
            settings.name(), text(own.devCus), {});
  state.serializeMsg(&answer);
}

void answerSetConfig(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  sayUnlessDone(panel.settings().setConfig(request), "configuration");
  nk_messageSetConfigRsp response(request.version);
  response.setChecksum(panel.settings().configChecksum(request.version));
  response.serializeMsg(&answer);
}

void answerSetSchedules(tPanel& panel, nk_tools::tContent& request, nk_serializer& answer) {
  sayUnlessDone(panel.settings().setSchedules(request), "set of schedules");
  nk_messageSetSchedulesRsp response(request.version);
  response.setChecksum(panel.settings().schedulesChecksum(request.version));
  response.serializeMsg(&answer);
}
