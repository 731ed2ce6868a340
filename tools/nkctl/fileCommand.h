#pragma once

#include "tools/nkctl/stateCommands.h"

/// Declares a command whose FILE holds a message: `read` fills it from the file of that name and
/// says what is wrong, as settingsFile.h does; `run(station, output, message)` does the rest.
template <class tMessage, class tRead, class tAct>
tRun declareWithFile(CLI::App& app, char const* help, tRead read, tAct run) {
  auto const file = std::make_shared<std::string>();
  addArgument(app, "FILE", *file, help);
  return [file, read, run](tStation& station, tOutput& output) {
    tMessage message(askedVersion);
    auto const problem = read(*file, message);
    return problem.empty() ? run(station, output, message) : refuse(problem);
  };
}
