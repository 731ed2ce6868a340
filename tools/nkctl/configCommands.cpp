#include "tools/nkctl/settingsFile.h"
#include "tools/nkctl/stateCommands.h"

namespace {

struct tArguments {
  std::string file;
  bool json = false;
};

std::shared_ptr<tArguments> addFile(CLI::App& app, char const* help) {
  auto arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, help);
  return arguments;
}

tRun declareInit(CLI::App& app) {
  auto const arguments = addFile(app, "The new file, - for standard output");
  return [arguments](tStation&) {
    nk_messageSetConfigReq config(askedVersion);
    auto const problem = writeConfigFile(arguments->file, config);
    if (!problem.empty()) nk_tools::say(problem);
    return problem.empty() ? nk_tools::STATUS_OK : nk_tools::STATUS_OTHER;
  };
}

tRun declareSet(CLI::App& app) {
  auto const arguments = addFile(app, "The configuration, - for standard input");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) {
    nk_messageSetConfigReq config(askedVersion);
    auto const problem = readConfigFile(arguments->file, config);
    if (!problem.empty()) return refuse(problem);
    std::unique_ptr<nk_message> answer;
    if (auto const status = askFor(station, config, nk_message::SET_CONFIG_RSP, answer))
      return status;
    auto const& response = static_cast<nk_messageSetConfigRsp const&>(*answer);
    return printComparison(arguments->json, *answer, config.checksum(askedVersion),
                           response.getChecksum());
  };
}

tRun declareCheck(CLI::App& app) {
  auto const arguments = addFile(app, "The configuration, - for standard input");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) {
    nk_messageSetConfigReq config(askedVersion);
    auto const problem = readConfigFile(arguments->file, config);
    if (!problem.empty()) return refuse(problem);
    nk_messageStateReq request(askedVersion);
    std::unique_ptr<nk_messageStateRsp> state;
    if (auto const status = askForState(station, request, state)) return status;
    return printComparison(arguments->json, *state, config.checksum(askedVersion), state->csCfg());
  };
}

}  // namespace

tRun declareConfig(CLI::App& app) {
  static constexpr tCommand rows[] = {
      {"init", "Write the configuration of a new panel to a file", declareInit},
      {"set", "Send the configuration in a file", declareSet},
      {"check", "Compare the configuration in a file with the panel's", declareCheck},
  };
  return declareFamily(app, rows);
}
