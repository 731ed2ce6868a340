#include <memory>
#include <string>

#include "tools/common/files.h"
#include "tools/common/messages.h"
#include "tools/common/text.h"
#include "tools/nkctl/commands.h"

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
  return [arguments](tStation& station, tOutput& output) {
    tBlob content, answer;
    char const* problem = nk_tools::readFile(arguments->file, content);
    if (problem == nullptr && content.empty())
      problem = "is empty, and an empty telegram is never sent";
    if (problem != nullptr) return refuse(arguments->file + ": " + problem);
    if (arguments->noResponse) return output.verdict("sent", station.tell(content));
    limitAnswers(content.size());
    if (auto const status = station.ask(content, answer)) return status;
    auto const json = nk_tools::contentJson(answer);
    output.nest("answer", json);
    output.verdict("answered");
    return output.show(nk_tools::strictJson(json.view()));
  };
}
