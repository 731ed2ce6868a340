#include "nkSupport/tTime.h"
#include "tools/common/moment.h"
#include "tools/nkctl/fileCommand.h"
#include "tools/nkctl/preview.h"
#include "tools/nkctl/settingsFile.h"

namespace {

constexpr char fileHelp[] = "The schedules, - for standard input";

nk_tools::teExit set(tStation& station, nk_messageSetSchedulesReq& schedules, bool json) {
  auto const wanted = schedules.checksum(askedVersion);
  std::unique_ptr<nk_message> answer;
  if (auto const status = sendSchedules(station, schedules, wanted, answer)) return status;
  auto const& response = static_cast<nk_messageSetSchedulesRsp const&>(*answer);
  return printComparison(json, *answer, wanted, response.getChecksum());
}

nk_tools::teExit check(tStation& station, nk_messageSetSchedulesReq& schedules, bool json) {
  nk_messageStateReq request(askedVersion);
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, request, state)) return status;
  return printComparison(json, *state, schedules.checksum(askedVersion), state->csSched());
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

nk_tools::teExit printPreview(tArguments const& arguments) {
  auto at = tTime::now();
  if (!arguments.at.empty() && !parseMoment(arguments.at, at))
    return refuse("--at " + arguments.at + R"(: neither seconds nor "YYYY-MM-DD hh:mm:ss")");
  nk_messageSetSchedulesReq set(askedVersion);
  auto problem = readSchedulesFile(arguments.file, set);
  if (!problem.empty()) return refuse(problem);
  auto text = "At " + momentText(at) + " UTC\n\n" + schedulesPreview(set, at);
  auto warnings = scheduleWarnings(set);
  if (!arguments.config.empty()) {
    nk_messageSetConfigReq config(askedVersion);
    problem = readConfigFile(arguments.config, config);
    if (!problem.empty()) return refuse(problem);
    tTimeslots slots;
    config.timeslots_get(&slots);
    text += "\n" + slotsPreview(slots, at);
    for (auto const& warning : slotWarnings(slots)) warnings.push_back(warning);
  }
  for (auto const& warning : warnings) nk_tools::say("warning: " + warning);
  return print(tString(std::string_view(text)));
}

tRun declarePreview(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, fileHelp);
  addOption(app, "--config", arguments->config, "FILE",
            "Tell the time slots of this configuration too");
  addOption(app, "--at", arguments->at, "TIME",
            "The moment, UTC: seconds or \"YYYY-MM-DD hh:mm:ss\" [now]");
  return [arguments](tStation&) { return printPreview(*arguments); };
}

}  // namespace

nk_tools::teExit sendSchedules(tStation& station, nk_messageSetSchedulesReq& set,
                               tString const& wanted, std::unique_ptr<nk_message>& answer) {
  // Of neighbours to be dropped a panel drops only every second one, so that each round halves what
  // is left over. No more than 2^32 schedules can be.
  constexpr unsigned int mostRounds = 33;
  tString before;
  for (unsigned int round = 1; round <= mostRounds; ++round) {
    if (auto const status = askFor(station, set, nk_message::SET_SCHEDULES_RSP, answer))
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
