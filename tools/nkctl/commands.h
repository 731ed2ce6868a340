#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "nkProtocol/message.h"
#include "tools/common/program.h"
#include "tools/nkctl/table.h"

namespace CLI {
class App;
}
class tStation;

/// Carries a command out over the station's link.
using tRun = std::function<nk_tools::teExit(tStation&)>;

/// One command of nkctl. To add one: write its declare function in a file of its own, name it
/// below, and give it a row in commands.cpp. A family of commands is a row whose function calls
/// declareFamily with the rows of its members.
struct tCommand {
  char const* name;
  char const* help;
  /// Adds the command's own arguments to `app` and returns what runs it once they are read.
  tRun (*declare)(CLI::App& app);
};

/// All commands, in the order of the help.
std::span<tCommand const> commands();

tRun declareTime(CLI::App& app);
tRun declareShutdown(CLI::App& app);
tRun declareGeneric(CLI::App& app);
tRun declareRaw(CLI::App& app);
tRun declareState(CLI::App& app);
tRun declareSetName(CLI::App& app);
tRun declareConfig(CLI::App& app);
tRun declareSchedules(CLI::App& app);
tRun declareStatistics(CLI::App& app);
tRun declareEvents(CLI::App& app);
tRun declareDisplay(CLI::App& app);
tRun declareImages(CLI::App& app);
tRun declareSync(CLI::App& app);

/// Adds one of `members`, which must live for ever, as a word that has to follow.
tRun declareFamily(CLI::App& app, std::span<tCommand const> members);
/// Adds an argument that must be given, such as "FILE".
void addArgument(CLI::App& app, char const* name, std::string& value, char const* help);
/// Adds an argument that must be given once or more often.
void addArguments(CLI::App& app, char const* name, std::vector<std::string>& values,
                  char const* help);
/// Adds an option, such as "--at", that is followed by a value of the kind `type`.
void addOption(CLI::App& app, char const* name, std::string& value, char const* type,
               char const* help);
void addFlag(CLI::App& app, char const* name, bool& value, char const* help);
/// Adds --json.
void addJsonFlag(CLI::App& app, bool& json);

/// Sends `request` and takes its answer, which must be of type `expected`; any other is printed as
/// JSON and complained about.
nk_tools::teExit askFor(tStation& station, nk_message& request, nk_message::teType expected,
                        std::unique_ptr<nk_message>& answer);
/// The same, and prints the answer as JSON.
nk_tools::teExit askAndPrint(tStation& station, nk_message& request, nk_message::teType expected);
/// Prints `text` on standard output, with a line end unless it has one.
nk_tools::teExit print(tString const& text);
/// Prints the table, coloured if that is wanted.
nk_tools::teExit print(tTable& table);
/// Prints the answer as JSON if that was wanted, otherwise the table.
nk_tools::teExit print(bool json, nk_message& answer, tTable& table);
/// Says what is wrong with a file or an argument.
nk_tools::teExit refuse(std::string const& problem);
