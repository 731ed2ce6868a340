#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "nkProtocol/message.h"
#include "tools/common/program.h"
#include "tools/nkctl/output.h"

namespace CLI {
class App;
}

/// Carries a command out over the station's link and tells what came of it.
using tRun = std::function<nk_tools::teExit(tStation&, tOutput&)>;

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

/// Sends `request` and takes its answer, which must be of type `expected`, of the version of the
/// request, and whole. Anything else is complained about, and with --verbose shown on standard
/// error.
nk_tools::teExit askFor(tStation& station, tOutput& output, nk_message& request,
                        nk_message::teType expected, std::unique_ptr<nk_message>& answer);
/// Lets answers have at most a few MiB when they are decompressed, or `least` if that is more. A
/// few bytes of run lengths would otherwise take gigabytes for what a peer says that it holds.
void limitAnswers(unsigned int least = 0);
/// Says what is wrong with a file or an argument.
nk_tools::teExit refuse(std::string const& problem);
