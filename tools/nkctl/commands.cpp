#include "tools/nkctl/commands.h"

#include <CLI/App.hpp>
#include <cstdio>

#include "tools/common/messages.h"
#include "tools/nkctl/station.h"

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
  return [chosen](tStation& station) { return (*chosen)(station); };
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

void addJsonFlag(CLI::App& app, bool& json) {
  addFlag(app, "--json", json, "Print the answer as one line of JSON");
}

nk_tools::teExit askFor(tStation& station, nk_message& request, nk_message::teType expected,
                        std::unique_ptr<nk_message>& answer) {
  nk_serializer content;
  tBlob bytes;
  request.serializeMsg(&content);
  if (auto const status = station.ask(content, bytes)) return status;
  answer = nk_tools::readAnswer(bytes);
  if (answer && answer->type() == expected) return nk_tools::STATUS_OK;
  if (auto const status = print(nk_tools::contentJson(bytes))) return status;
  nk_tools::say(std::string("expected ") + nk_message::typeName(expected).c_str() +
                " for an answer, not " + (answer ? "" : "an unknown or damaged message of ") +
                "type " + std::to_string(nk_tools::tContent(tBlob(bytes)).type));
  return nk_tools::STATUS_PROTOCOL;
}

nk_tools::teExit askAndPrint(tStation& station, nk_message& request, nk_message::teType expected) {
  std::unique_ptr<nk_message> answer;
  if (auto const status = askFor(station, request, expected, answer)) return status;
  return print(nk_tools::messageJson(*answer));
}

nk_tools::teExit print(tString const& text) {
  std::fwrite(text.c_str(), 1, text.length(), stdout);
  if (!text.view().ends_with('\n')) std::fputc('\n', stdout);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return nk_tools::STATUS_OK;
  nk_tools::say("cannot write to standard output");
  return nk_tools::STATUS_OTHER;
}

nk_tools::teExit print(tTable& table) {
  return print(tString(std::string_view(table.text(coloursWanted()))));
}

nk_tools::teExit print(bool json, nk_message& answer, tTable& table) {
  return json ? print(nk_tools::messageJson(answer)) : print(table);
}

nk_tools::teExit refuse(std::string const& problem) {
  nk_tools::say(problem);
  return nk_tools::STATUS_USAGE;
}
