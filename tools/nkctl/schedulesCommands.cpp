#include "nkSupport/tTime.h"
#include "tools/common/moment.h"
#include "tools/nkctl/fileCommand.h"
#include "tools/nkctl/preview.h"
#include "tools/nkctl/settingsFile.h"

namespace {

constexpr char fileHelp[] = "The schedules, - for standard input";

nk_tools::teExit set(tStation& station, tOutput& output, nk_messageSetSchedulesReq& schedules) {
  auto const wanted = schedules.checksum(schedules.version());
  std::unique_ptr<nk_message> answer;
  if (auto const status = sendSchedules(station, output, schedules, wanted, answer)) return status;
  auto const& response = static_cast<nk_messageSetSchedulesRsp const&>(*answer);
  return compare(output, *answer, wanted, response.getChecksum());
}

nk_tools::teExit check(tStation& station, tOutput& output, nk_messageSetSchedulesReq& schedules) {
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, output, state)) return status;
  return compare(output, *state, schedules.checksum(schedules.version()), state->csSched());
}

tRun declareSet(CLI::App& app) {
  return declareWithFile<nk_messageSetSchedulesReq>(app, fileHelp, readSchedulesFile, set);
}

tRun declareCheck(CLI::App& app) {
  return declareWithFile<nk_messageSetSchedulesReq>(app, fileHelp, readSchedulesFile, check);
}

struct tArguments {
  std::string file;
  std::string config;
  std::string at;
};

nk_tools::teExit printPreview(tOutput& output, tArguments const& arguments) {
  auto at = tTime::now();
  if (!arguments.at.empty() && !parseMoment(arguments.at, at))
    return refuse("--at " + arguments.at +
                  R"(: neither seconds nor "YYYY-MM-DD hh:mm:ss" nor "YYYY-MM-DDThh:mm:ssZ")");
  nk_messageSetSchedulesReq set(newestVersion);
  auto problem = readSchedulesFile(arguments.file, set);
  if (!problem.empty()) return refuse(problem);
  auto text = "At " + momentText(at) + " UTC\n\n" + schedulesPreview(set, at);
  auto warnings = scheduleWarnings(set);
  output.members().addInt("at", at);
  schedulesPreview(set, at, output.members());
  if (!arguments.config.empty()) {
    nk_messageSetConfigReq config(newestVersion);
    problem = readConfigFile(arguments.config, config);
    if (!problem.empty()) return refuse(problem);
    tTimeslots slots;
    config.timeslots_get(&slots);
    text += "\n" + slotsPreview(slots, at);
    slotsPreview(slots, at, output.members());
    for (auto const& warning : slotWarnings(slots)) warnings.push_back(warning);
  }
  for (auto const& warning : warnings) output.warn(warning);
  return output.show(text);
}

tRun declarePreview(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, fileHelp);
  addOption(app, "--config", arguments->config, "FILE",
            "Tell the time slots of this configuration too");
  addOption(app, "--at", arguments->at, "TIME",
            "The moment, UTC: seconds or \"YYYY-MM-DD hh:mm:ss\" [now]");
  return [arguments](tStation&, tOutput& output) { return printPreview(output, *arguments); };
}

}  // namespace

nk_tools::teExit sendSchedules(tStation& station, tOutput& output, nk_messageSetSchedulesReq& set,
                               tString const& wanted, std::unique_ptr<nk_message>& answer) {
  // Of neighbours to be dropped a panel drops only every second one, so that each round halves what
  // is left over. No more than 2^32 schedules can be.
  constexpr unsigned int mostRounds = 33;
  tString before;
  for (unsigned int round = 1; round <= mostRounds; ++round) {
    if (auto const status = askFor(station, output, set, nk_message::SET_SCHEDULES_RSP, answer))
      return status;
    auto const& now = static_cast<nk_messageSetSchedulesRsp const&>(*answer).getChecksum();
    if (now == wanted || now == before) break;
    before = now;
  }
  return nk_tools::STATUS_OK;
}

tRun declareSchedules(CLI::App& app) {
  static constexpr tCommand rows[] = {
      {"set", "Send the schedules in a file", declareSet},
      {"check", "Compare the schedules in a file with the panel's", declareCheck},
      {"preview", "Tell what the displays show at a moment", declarePreview},
  };
  return declareFamily(app, rows);
}
