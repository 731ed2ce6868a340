#include "tools/nkctl/commands.h"

#include <CLI/App.hpp>
#include <algorithm>

#include "nkSupport/tCompression.h"
#include "tools/common/messages.h"

std::span<tCommand const> commands() {
  static constexpr tCommand rows[] = {
      {"state", "Print the panel's state", declareState},
      {"statistics", "Print the panel's running totals", declareStatistics},
      {"events", "Print the panel's record of events", declareEvents},
      {"display", "Print how the panel's screen is laid out", declareDisplay},
      {"set-name", "Give the panel a name, print its state", declareSetName},
      {"config", "Write, send or compare a configuration", declareConfig},
      {"schedules", "Send, compare or preview a set of schedules", declareSchedules},
      {"images", "Send, remove or compare images", declareImages},
      {"sync", "Make a panel hold what a directory holds", declareSync},
      {"time", "Send the station's clock, print the panel's", declareTime},
      {"shutdown", "Order the panel to shut down", declareShutdown},
      {"generic", "Send two free texts, print the two that come back", declareGeneric},
      {"raw", "Send the content of a file as it is, print the answer", declareRaw},
  };
  return rows;
}

tRun declareFamily(CLI::App& app, std::span<tCommand const> members) {
  auto const chosen = std::make_shared<tRun>();
  for (auto const& member : members) {
    auto* const sub = app.add_subcommand(member.name, member.help)->fallthrough();
    sub->final_callback([chosen, carryOut = member.declare(*sub)] { *chosen = carryOut; });
  }
  app.require_subcommand(1);
  return [chosen](tStation& station, tOutput& output) { return (*chosen)(station, output); };
}

void addArgument(CLI::App& app, char const* name, std::string& value, char const* help) {
  app.add_option(name, value, help)->required();
}

void addArguments(CLI::App& app, char const* name, std::vector<std::string>& values,
                  char const* help) {
  app.add_option(name, values, help)->required();
}

void addOption(CLI::App& app, char const* name, std::string& value, char const* type,
               char const* help) {
  app.add_option(name, value, help)->type_name(type);
}

void addFlag(CLI::App& app, char const* name, bool& value, char const* help) {
  app.add_flag(name, value, help);
}

nk_tools::teExit askFor(tStation& station, tOutput& output, nk_message& request,
                        nk_message::teType expected, std::unique_ptr<nk_message>& answer) {
  limitAnswers();
  nk_serializer content;
  tBlob bytes;
  request.serializeMsg(&content);
  if (auto const status = station.ask(content, bytes)) return status;
  tBlob const shown = output.verbose() ? tBlob(bytes) : tBlob();
  std::string problem;
  answer = nk_tools::readAnswer(std::move(bytes), expected, request.version(), problem);
  if (answer) return nk_tools::STATUS_OK;
  if (!shown.empty()) nk_tools::say(nk_tools::contentJson(shown).view());
  return station.fail(nk_tools::STATUS_PROTOCOL, problem);
}

void limitAnswers(unsigned int least) {
  constexpr unsigned int largestAnswer = 4u << 20;  // five times a full record of events
  tCompression::setMaxDecodedSize(std::max(largestAnswer, least));
}

nk_tools::teExit refuse(std::string const& problem) {
  return nk_tools::fail(nk_tools::STATUS_USAGE, problem);
}
