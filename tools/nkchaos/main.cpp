#include <CLI/CLI.hpp>
#include <csignal>
#include <numeric>
#include <string>

#include "tools/common/options.h"
#include "tools/nkchaos/proxy.h"

namespace {

constexpr char footer[] =
    "Each connection that comes in at --link gets one of its own to --to. A frame is what ends\n"
    "with a byte 02, or 64 KiB without one. At most one thing happens to each byte and, after\n"
    "that, to each frame; the rates of a level are at most 1 together. What happens depends on\n"
    "the seed, the number of the connection, the direction and the position only: the same\n"
    "streams are damaged in the same way again. Ends on SIGINT and SIGTERM, with the totals on\n"
    "standard error.\n\n";

constexpr char examples[] =
    "\n\nExamples:\n"
    "  nkchaos --link tcp://127.0.0.1:4712 --to tcp://127.0.0.1:4711 --all 0.02\n"
    "  nkchaos --link unix:///tmp/chaos.sock --to serial:///dev/ttyUSB0 --byte-flip 0.001 --seed 7";

constexpr char const* texts[tDamage::LEVELS][tDamage::KINDS] = {
    {"Flip one of its bits", "Leave it out", "Put another byte before it", "Send it twice",
     "Let it change places with the next one", "Pause before it", "End the connection before it",
     "Begin a new write with it"},
    {"Give up to 8 of its bytes other values", "Leave it out", "Put 1 to 64 bytes before it",
     "Send it twice", "Let it change places with the next one", "Pause before it",
     "Leave out its end", "Send it in writes of 1 to 16 bytes"}};

// --all spreads its rate evenly over the damages. A connection's end costs more than all others and
// so is rarer.
void spread(double rate, tDamage::tTable<double>& rates) {
  double const each = rate / double{tDamage::KINDS};
  rates[tDamage::LEVEL_FRAME].fill(each);
  rates[tDamage::LEVEL_BYTE].fill(each / 1000);
  rates[tDamage::LEVEL_BYTE][tDamage::KIND_CUT] /= 20;
}

void addRates(CLI::App& app, tDamage::tTable<double>& rates) {
  auto const isRate = CLI::Range(0.0, 1.0);
  app.add_option_function<double>(
         "--all", [&rates](double rate) { spread(rate, rates); },
         "All damages: this rate for frames in all, a thousandth of it for bytes")
      ->check(isRate)
      ->type_name("RATE")
      ->trigger_on_parse();
  for (unsigned int level = 0; level < tDamage::LEVELS; ++level) {
    for (unsigned int kind = 0; kind < tDamage::KINDS; ++kind) {
      auto const name =
          std::string("--") + tDamage::levelNames[level] + "-" + tDamage::kindNames[kind];
      auto& rate = rates[level][kind];
      app.add_option_function<double>(
             name, [&rate](double value) { rate = value; }, texts[level][kind])
          ->check(isRate)
          ->type_name("RATE")
          ->trigger_on_parse();
    }
  }
}

bool areRates(tDamage::tTable<double> const& rates) {
  return std::all_of(rates.begin(), rates.end(), [](auto const& level) {
    return std::accumulate(level.begin(), level.end(), 0.0) <= 1;
  });
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a fault in the declarations throws
int main(int argc, char** argv) {
  nk_tools::programName = "nkchaos";
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app("Damages what goes between a station and a panel.", nk_tools::programName);
  tProxy::tOptions options;
  nk_tools::addLinkOption(app, [&](nk_linkUrl const& url) { options.link = url; })->required();
  nk_tools::addLinkOption(
      app, [&](nk_linkUrl const& url) { options.to = url; }, "--to")
      ->required();
  app.add_option("--seed", options.damage.seed, "What decides about all damage [1]");
  addRates(app, options.damage.rates);
  app.add_option("--longest-stall", options.damage.longestStall_ms, "Longest pause [50]")
      ->type_name("MILLISECONDS")
      ->check(CLI::Range(1u, 3600000u));
  app.add_flag("--verbose", options.verbose, "Tell of each damage");
  nk_tools::addVersionOption(app);
  app.footer(footer + nk_tools::exitHelp(nk_tools::STATUS_LINK) + examples);
  return nk_tools::parseAndRun(app, argc, argv, [&] {
    if (areRates(options.damage.rates)) return tProxy(options).run();
    nk_tools::say("the rates of bytes, or of frames, are more than 1 together");
    return nk_tools::STATUS_USAGE;
  });
}
