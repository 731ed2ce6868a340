#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <string_view>

#include "tools/common/options.h"
#include "tools/nkctl/commands.h"
#include "tools/nkctl/station.h"

namespace {

constexpr char footer[] =
    "Answers are printed on standard output, as tables for people. With --json each run prints\n"
    "one object on one line: link, to, status, result, error if the command failed, what the\n"
    "command found out, and the answer in the message's own form. Content that is no known\n"
    "message is {\"content\":BASE64,\"size\":BYTES}, which raw prints in any case.\n"
    "Of the answers to a broadcast the first one is printed. Diagnostics go to standard error.\n"
    "All commands but config init, schedules preview and images uid need --link and --to.\n\n";

constexpr char environment[] =
    "\n\nEnvironment:\n"
    "  NO_COLOR  not empty: no colours in tables on terminals\n"
    "  TERM      dumb: no colours either";

constexpr char examples[] =
    "\n\nExamples:\n"
    "  nkctl --link tcp://127.0.0.1:4711 --to 2 time\n"
    "  nkctl --link tcp://127.0.0.1:4711 --to 2 config set hall.json\n"
    "  nkctl --link tcp://127.0.0.1:4711 --to 2 sync examples/site\n"
    "  nkctl schedules preview week.json --config hall.json --at \"2026-03-01 08:00:00\"\n"
    "  nkctl --link unix:///tmp/panel.sock --to 0x20 generic hello world\n"
    "  nkctl --link serial:///dev/ttyUSB0?baud=9600 --to broadcast raw content.bin";

void addOptions(CLI::App& app, tStation::tOptions& options, bool& json) {
  nk_tools::addLinkOption(app, [&](nk_linkUrl const& url) { options.link = url; });
  nk_tools::addAddressOption(app, "--to", options.to, true,
                             "The panel's address, decimal or 0x..., or broadcast");
  nk_tools::addAddressOption(app, "--from", options.from, false, "The station's own address [1]");
  nk_tools::addSecondsOption(app, "--timeout", options.timeout, 0.001,
                             "Time without progress after which a request is given up [5]");
  nk_tools::addSecondsOption(app, "--connect-timeout", options.connectTimeout, 0,
                             "How long to try to open the link; 0 tries once [2]");
  app.add_option_function<unsigned int>(
         "--message-version",
         [&](unsigned int version) {
           if (version > newestVersion)
             throw CLI::ValidationError("--message-version", "is no version from 0 to 3");
           options.version = nk_message::teVersion(version);
         },
         "Version of all messages, 0 to 3 [as the command and the panel need]")
      ->type_name("NUMBER");
  app.add_flag("--verbose", options.verbose, "Tell what the engine does");
  app.add_flag("--json", json, "Print one object on one line");
  nk_tools::addVersionOption(app);
}

// True if `word` stands on the command line as an option.
bool hasWord(int argc, char** argv, std::string_view word) {
  auto const end = std::find(argv, argv + argc, std::string_view("--"));
  return std::find(argv, end, word) != end;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a fault in the declarations throws
int main(int argc, char** argv) {
  nk_tools::programName = "nkctl";
  CLI::App app("Sends a request to a display panel and prints the answer.", nk_tools::programName);
  tStation::tOptions options;
  bool json = false;
  addOptions(app, options, json);
  tRun run;
  for (auto const& command : commands()) {
    auto* const sub = app.add_subcommand(command.name, command.help)->fallthrough();
    sub->final_callback([&run, carryOut = command.declare(*sub)] { run = carryOut; });
  }
  // Demanded last, so that a misspelt command is named in the complaint.
  app.require_subcommand(0, 1);
  app.final_callback([&run] {
    if (!run) throw CLI::RequiredError("A command");
  });
  app.footer(footer + nk_tools::exitHelp(nk_tools::STATUS_DIFFERS) + environment + examples);
  tOutput output(json, options);
  bool ran = false;
  auto const status = nk_tools::parseAndRun(app, argc, argv, [&] {
    ran = true;
    tStation station(options);
    auto const result = run(station, output);
    station.close();
    return result;
  });
  // A wrong command line sets nothing, and yet a script wants its object.
  if (!ran) json = status == nk_tools::STATUS_USAGE && hasWord(argc, argv, "--json");
  return ran || json ? output.finish(nk_tools::teExit(status)) : status;
}
