#pragma once

#include "tools/nkctl/stateCommands.h"

/// Declares a command whose FILE holds a message: `read` fills it from the file of that name and
/// says what is wrong, as settingsFile.h does; `run(station, message, json)` does the rest.
template <class tMessage, class tRead, class tAct>
tRun declareWithFile(CLI::App& app, char const* help, tRead read, tAct run) {
  struct tArguments {
    std::string file;
    bool json = false;
  };
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, help);
  addJsonFlag(app, arguments->json);
  return [arguments, read, run](tStation& station) {
    tMessage message(askedVersion);
    auto const problem = read(arguments->file, message);
    return problem.empty() ? run(station, message, arguments->json) : refuse(problem);
  };
}
