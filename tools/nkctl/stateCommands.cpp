#include "tools/nkctl/stateCommands.h"

namespace {

struct tArguments {
  std::string name;
  bool json = false;
};

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

}  // namespace

nk_tools::teExit askForState(tStation& station, nk_messageStateReq& request,
                             std::unique_ptr<nk_messageStateRsp>& state) {
  std::unique_ptr<nk_message> answer;
  if (auto const status = askFor(station, request, nk_message::STATE_RSP, answer)) return status;
  state.reset(static_cast<nk_messageStateRsp*>(answer.release()));
  return nk_tools::STATUS_OK;
}

nk_tools::teExit printComparison(bool json, nk_message& answer, tString const& file,
                                 tString const& panel) {
  bool const same = file == panel;
  tTable table;
  table.add({"file", text(file)});
  table.add({"panel", text(panel)});
  table.add({"result", same ? "same" : "different"});
  if (auto const status = print(json, answer, table)) return status;
  return same ? nk_tools::STATUS_OK : nk_tools::STATUS_DIFFERS;
}

tRun declareState(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) {
    nk_messageStateReq request(askedVersion);
    std::unique_ptr<nk_messageStateRsp> state;
    if (auto const status = askForState(station, request, state)) return status;
    auto table = stateTable(*state);
    return print(arguments->json, *state, table);
  };
}

tRun declareSetName(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "NAME", arguments->name, "The new name");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) {
    tString const name{std::string_view(arguments->name)};
    nk_messageStateReq request(askedVersion);
    request.setTaskNewName(name);
    std::unique_ptr<nk_messageStateRsp> state;
    if (auto const status = askForState(station, request, state)) return status;
    auto table = stateTable(*state);
    if (auto const status = print(arguments->json, *state, table)) return status;
    if (state->devName() == name) return nk_tools::STATUS_OK;
    nk_tools::say("the panel did not take the name");
    return nk_tools::STATUS_DIFFERS;
  };
}
