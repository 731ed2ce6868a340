#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <span>

#include "nkProtocol/message.h"
#include "tools/nkctl/station.h"

/// Carries a command out over the station's link.
using tRun = std::function<nk_tools::teExit(tStation&)>;

/// One command of nkctl. To add one: write its declare function in a file of its own, name it
/// below, and give it a row in commands.cpp.
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

/// Sends `request` and prints its answer, which should be of type `expected`.
nk_tools::teExit askAndPrint(tStation& station, nk_message& request, nk_message::teType expected);
/// Prints `answer` as one line of JSON on standard output.
nk_tools::teExit printAnswer(tBlob& answer);
