#include "tools/common/options.h"

#include <malloc.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>

#include "link/serialLine.h"
#include "nkProtocol/protocol.h"
#include "tools/common/manual.h"
#include "tools/common/usage.h"

namespace {

int print(std::string const& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  return std::fflush(stdout) == 0 ? nk_tools::STATUS_OK : nk_tools::STATUS_OTHER;
}

}  // namespace

bool nk_tools::parseAddress(std::string const& text, unsigned int& address) {
  bool const hex = text.starts_with("0x") || text.starts_with("0X");
  char const* const end = text.data() + text.size();
  unsigned int value = 0;
  auto const result = std::from_chars(text.data() + (hex ? 2 : 0), end, value, hex ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end) return false;
  if (value == nk_basicTelegram::addressNone || value == nk_basicTelegram::addressBroadcast)
    return false;
  address = value;
  return true;
}

CLI::Option* nk_tools::addLinkOption(CLI::App& app, std::function<void(nk_linkUrl const&)> store,
                                     std::string const& name) {
  auto const parse = [store = std::move(store), name](std::string const& text) {
    nk_linkUrl url;
    std::string error;
    if (!nk_linkUrl::parse(text, url, error)) throw CLI::ValidationError(name, error);
    store(url);
  };
  return app
      .add_option_function<std::string>(
          name, parse, "tcp://host:port, unix:///path or serial:///dev/...?baud=115200")
      ->type_name("URL");
}

void nk_tools::cutFor(nk_linkUrl const& url) {
  if (url.kind == nk_linkUrl::KIND_SERIAL) nk_protocol::setMaxPayloadSize(nk_linePayload(url.baud));
}

CLI::Option* nk_tools::addAddressOption(CLI::App& app, std::string const& name,
                                        unsigned int& address, bool broadcast,
                                        std::string const& help) {
  auto const parse = [&address, name, broadcast](std::string const& text) {
    if (broadcast && text == "broadcast") {
      address = nk_basicTelegram::addressBroadcast;
    } else if (!parseAddress(text, address)) {
      throw CLI::ValidationError(name, "\"" + text + "\" is no address from 0 to 0xFFFFFFFD");
    }
  };
  return app.add_option_function<std::string>(name, parse, help)->type_name("ADDRESS");
}

CLI::Option* nk_tools::addSecondsOption(CLI::App& app, std::string const& name,
                                        std::chrono::milliseconds& value, double least,
                                        std::string const& help) {
  auto const store = [&value, name, least](double seconds) {
    if (!(seconds >= least && seconds <= 1e6))
      throw CLI::ValidationError(
          name, "the seconds are not from " + CLI::detail::to_string(least) + " to 1000000");
    value = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
  };
  return app.add_option_function<double>(name, store, help)->type_name("SECONDS");
}

void nk_tools::addVersionOption(CLI::App& app) {
  app.set_version_flag("-V,--version", app.get_name() + " " + NK_VERSION,
                       "Print name and version and exit");
}

namespace {

// The words behind the program's name, last first, as they are to be parsed.
std::vector<std::string> wordsOf(CLI::App const& app, int argc, char const* const* argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  auto const commands = app.get_subcommands([](CLI::App const*) { return true; });
  if (!commands.empty() && !words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  std::reverse(words.begin(), words.end());
  return words;
}

// Large blocks go back to the system as soon as they are free. Without this the heaps of both
// threads keep some of every image that passed.
void keepMemorySmall() {
#ifdef M_MMAP_THRESHOLD
  constexpr int large = 512 * 1024;
  mallopt(M_MMAP_THRESHOLD, large);  // NOLINT(concurrency-mt-unsafe): no other thread runs yet
#endif
}

}  // namespace

int nk_tools::parseAndRun(CLI::App& app, int argc, char const* const* argv,
                          std::function<teExit()> const& run) {
  // What the build makes the manual page and the completion with; no option, so that neither shows.
  if (argc == 2) {
    std::string const only = argv[1];
    if (only == "--print-manual") return print(manualPage(app));
    if (only == "--print-completion") return print(bashCompletion(app));
  }
  try {
    app.parse(wordsOf(app, argc, argv));
  } catch (CLI::ParseError const& reason) {
    if (reason.get_exit_code() == 0) return app.exit(reason);
    return fail(STATUS_USAGE,
                usageProblem(app, reason) + "; " + app.get_name() + " --help tells more");
  }
  keepMemorySmall();
  try {
    return run();
  } catch (std::exception const& reason) {
    return fail(STATUS_OTHER, reason.what());
  }
}
