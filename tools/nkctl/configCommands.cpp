#include "tools/nkctl/fileCommand.h"
#include "tools/nkctl/settingsFile.h"
#include "tools/nkctl/versions.h"

namespace {

constexpr char fileHelp[] = "The configuration, - for standard input";

tRun declareInit(CLI::App& app) {
  auto const file = std::make_shared<std::string>();
  addArgument(app, "FILE", *file, "The new file, - for standard output");
  return [file](tStation&, tOutput& output) {
    nk_messageSetConfigReq config(newestVersion);
    if (output.isJson() && *file == "-") {
      output.nest("configuration", config.getJson());
      return output.verdict("written");
    }
    auto const problem = writeConfigFile(*file, config);
    return problem.empty() ? output.verdict("written")
                           : nk_tools::fail(nk_tools::STATUS_OTHER, problem);
  };
}

nk_tools::teExit set(tStation& station, tOutput& output, nk_messageSetConfigReq& config) {
  std::unique_ptr<nk_message> answer;
  if (auto const status = askFor(station, output, config, nk_message::SET_CONFIG_RSP, answer))
    return status;
  auto const& sum = static_cast<nk_messageSetConfigRsp const&>(*answer).getChecksum();
  return compare(output, *answer, carriedChecksum(config, config.version(), sum), sum);
}

nk_tools::teExit check(tStation& station, tOutput& output, nk_messageSetConfigReq& config) {
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, output, state)) return status;
  auto const& sum = state->csCfg();
  return compare(output, *state, carriedChecksum(config, config.version(), sum), sum);
}

tRun declareSet(CLI::App& app) {
  return declareWithFile<nk_messageSetConfigReq>(app, fileHelp, readConfigFile, set);
}

tRun declareCheck(CLI::App& app) {
  return declareWithFile<nk_messageSetConfigReq>(app, fileHelp, readConfigFile, check);
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
