#pragma once

#include "tools/nkctl/stateCommands.h"
#include "tools/nkctl/versions.h"

/// Declares a command whose FILE holds a message: `read` fills it from the file of that name and
/// says what is wrong, as settingsFile.h does; `run(station, output, message)` does the rest.
template <class tMessage, class tRead, class tAct>
tRun declareWithFile(CLI::App& app, char const* help, tRead read, tAct run) {
  auto const file = std::make_shared<std::string>();
  addArgument(app, "FILE", *file, help);
  return [file, read, run](tStation& station, tOutput& output) {
    tMessage message(station.version());
    auto const problem = read(*file, message);
    if (!problem.empty()) return refuse(problem);
    if (auto const left = leftBehind(message, message.version()); !left.empty()) output.warn(left);
    return run(station, output, message);
  };
}
