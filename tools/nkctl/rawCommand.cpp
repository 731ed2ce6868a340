#include <memory>
#include <string>

#include "tools/common/files.h"
#include "tools/common/messages.h"
#include "tools/nkctl/commands.h"
#include "tools/nkctl/station.h"

namespace {

struct tArguments {
  std::string file;
  bool noResponse = false;
};

}  // namespace

tRun declareRaw(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, "The file, - for standard input");
  addFlag(app, "--no-response", arguments->noResponse, "Want no answer and wait for none");
  return [arguments](tStation& station) {
    tBlob content, answer;
    char const* problem = nk_tools::readFile(arguments->file, content);
    if (problem == nullptr && content.empty())
      problem = "is empty, and an empty telegram is never sent";
    if (problem != nullptr) {
      nk_tools::say(arguments->file + " " + problem);
      return nk_tools::STATUS_USAGE;
    }
    if (arguments->noResponse) return station.tell(content);
    auto const status = station.ask(content, answer);
    return status == nk_tools::STATUS_OK ? print(nk_tools::contentJson(answer)) : status;
  };
}
