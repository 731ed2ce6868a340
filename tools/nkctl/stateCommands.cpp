#include "tools/nkctl/stateCommands.h"

namespace {

tTable stateTable(nk_messageStateRsp const& state) {
  tTable table;
  table.add({"serial number", std::to_string(state.serial())});
  table.add({"device name", text(state.devName())});
  table.add({"customer", text(state.devCus())});
  table.add({"configuration", text(state.csCfg())});
  table.add({"schedules", text(state.csSched())});
  table.add({"ci", text(state.ci())});
  table.add({"vc", text(state.vc())});
  table.add({"va", text(state.va())});
  table.add({"omc", std::to_string(state.omc())});
  table.add({"evc", std::to_string(state.evc())});
  table.add({"flags", std::to_string(state.flags())});
  table.add({"extState", std::to_string(state.extState())});
  table.add({"images", std::to_string(state.images().size())});
  for (auto const uid : state.images()) table.add({"", std::to_string(uid)});
  return table;
}

nk_tools::teExit showState(tOutput& output, nk_messageStateRsp& state) {
  auto table = stateTable(state);
  output.answer(state);
  return output.show(table);
}

}  // namespace

nk_tools::teExit askForState(tStation& station, tOutput& output, nk_messageStateReq& request,
                             std::unique_ptr<nk_messageStateRsp>& state) {
  std::unique_ptr<nk_message> answer;
  if (auto const status = askFor(station, output, request, nk_message::STATE_RSP, answer))
    return status;
  state.reset(static_cast<nk_messageStateRsp*>(answer.release()));
  return nk_tools::STATUS_OK;
}

nk_tools::teExit askForState(tStation& station, tOutput& output,
                             std::unique_ptr<nk_messageStateRsp>& state) {
  nk_messageStateReq request(station.version());
  return askForState(station, output, request, state);
}

nk_tools::teExit compare(tOutput& output, nk_message& answer, tString const& file,
                         tString const& panel) {
  bool const same = file == panel;
  char const* const result = same ? "same" : "different";
  tTable table;
  table.add({"file", text(file)});
  table.add({"panel", text(panel)});
  table.add({"result", result});
  output.members().addString("file", file);
  output.members().addString("panel", panel);
  output.answer(answer);
  if (auto const status = output.show(table)) return status;
  return output.verdict(result, same ? nk_tools::STATUS_OK : nk_tools::STATUS_DIFFERS);
}

tRun declareState(CLI::App&) {
  return [](tStation& station, tOutput& output) {
    std::unique_ptr<nk_messageStateRsp> state;
    if (auto const status = askForState(station, output, state)) return status;
    output.verdict("answered");
    return showState(output, *state);
  };
}

tRun declareSetName(CLI::App& app) {
  auto const name = std::make_shared<std::string>();
  addArgument(app, "NAME", *name, "The new name");
  return [name](tStation& station, tOutput& output) {
    nk_messageStateReq request(station.version());
    request.setTaskNewName(tString(std::string_view(*name)));
    std::unique_ptr<nk_messageStateRsp> state;
    if (auto const status = askForState(station, output, request, state)) return status;
    if (auto const status = showState(output, *state)) return status;
    if (text(state->devName()) == *name) return output.verdict("same");
    nk_tools::say("the panel did not take the name");
    return output.verdict("different", nk_tools::STATUS_DIFFERS);
  };
}
