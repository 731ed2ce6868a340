#include <cstdio>
#include <memory>
#include <string>

#include "tools/nkctl/commands.h"

namespace {

constexpr unsigned int largestContent = 256u << 20;

struct tArguments {
  std::string file;
  bool noResponse = false;
};

// The reason why the file cannot be sent; null if it is now in `content`.
char const* readFile(std::string const& name, tBlob& content) {
  auto const closeOwn = [](std::FILE* file) {
    if (file != stdin) std::fclose(file);
  };
  std::unique_ptr<std::FILE, decltype(closeOwn)> const file(
      name == "-" ? stdin : std::fopen(name.c_str(), "rb"), closeOwn);
  if (!file) return "cannot be opened";
  unsigned char buffer[65536];
  while (auto const count = std::fread(buffer, 1, sizeof buffer, file.get())) {
    if (count > largestContent - content.size()) return "is larger than 256 MiB";
    if (!content.append(buffer, static_cast<unsigned int>(count))) return "needs too much memory";
  }
  if (std::ferror(file.get()) != 0) return "cannot be read";
  return content.empty() ? "is empty, and an empty telegram is never sent" : nullptr;
}

}  // namespace

tRun declareRaw(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  app.add_option("FILE", arguments->file, "The file, - for standard input")->required();
  app.add_flag("--no-response", arguments->noResponse, "Want no answer and wait for none");
  return [arguments](tStation& station) {
    tBlob content, answer;
    if (char const* const problem = readFile(arguments->file, content)) {
      nk_tools::say(arguments->file + " " + problem);
      return nk_tools::STATUS_USAGE;
    }
    if (arguments->noResponse) return station.tell(content);
    auto const status = station.ask(content, answer);
    return status == nk_tools::STATUS_OK ? printAnswer(answer) : status;
  };
}
