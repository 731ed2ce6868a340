#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "nkSupport/tCompression.h"
#include "tools/common/options.h"
#include "tools/nkdevice/device.h"

namespace {

constexpr char footer[] =
    "Says on standard error when it is ready, with the port that the system chose for port 0:\n"
    "  nkdevice: listening on tcp://127.0.0.1:40123, address 2\n"
    "Answers all requests of the library from what it holds; takes its configuration, schedules,\n"
    "images and name from stations and keeps them in the directory of --state, with its events "
    "and\n"
    "statistics. Ends on SHUTDOWN, SIGINT and SIGTERM.\n"
    "Serves several stations at once. A serial line that is missing or vanishes is tried\n"
    "again until it is there.\n"
    "Knows neither authentication nor encryption: whoever reaches the link commands the panel.\n\n";

constexpr char examples[] =
    "\n\nExamples:\n"
    "  nkdevice --link tcp://127.0.0.1:4711 --address 2\n"
    "  nkdevice --link unix:///tmp/panel.sock --address 0x20 --state /var/lib/panel --verbose\n"
    "  nkdevice --link serial:///dev/ttyUSB0?baud=115200 --address 2";

void addIdentity(CLI::App& app, tPanel::tIdentity& identity) {
  app.add_option("--serial", identity.serial, "The serial number in the state [1]")
      ->type_name("NUMBER");
  struct {
    char const* name;
    std::string& value;
    char const* help;
  } const texts[] = {
      {"--ci", identity.ci, "Text ci of the state"},
      {"--vc", identity.vc, "Text vc of the state"},
      {"--va", identity.va, "Text va of the state"},
      {"--customer", identity.devCus, "Customer in the state"},
  };
  for (auto const& each : texts) {
    app.add_option(each.name, each.value, std::string(each.help) + " [" + each.value + "]")
        ->type_name("TEXT");
  }
}

void addSensors(CLI::App& app, tStatistics::tOptions& sensors) {
  app.add_option("--power", sensors.power, "What the panel draws while it runs [2]")
      ->type_name("WATTS")
      ->check(CLI::Range(0.0, 1e6));
  app.add_option("--thermometer", sensors.thermometer,
                 "File with thousandths of a degree Celsius [" + sensors.thermometer + "]")
      ->type_name("FILE");
}

void addLimits(CLI::App& app, tPanel::tOptions& options) {
  auto& limits = options.limits;
  struct {
    char const* name;
    unsigned int& value;
    unsigned int most;
    char const* help;
  } const counts[] = {
      {"--name-bytes", limits.text, 1U << 16, "Longest name in settings, in bytes"},
      {"--time-slots", limits.timeSlots, 1U << 20, "Most time slots of a configuration"},
      {"--frames", limits.frames, 1U << 16, "Most frames of a configuration"},
      {"--schedules", limits.schedules, 1U << 20, "Most schedules"},
      {"--entries", limits.entries, 1U << 22, "Most entries of all schedules together"},
  };
  for (auto const& each : counts) {
    app.add_option(each.name, each.value,
                   std::string(each.help) + " [" + std::to_string(each.value) + "]")
        ->type_name("NUMBER")
        ->check(CLI::Range(0U, each.most));
  }
  app.add_option_function<unsigned int>(
         "--image-message",
         [&](unsigned int mebibytes) { options.limits.imageContent = mebibytes << 20; },
         "Largest message with images [32]")
      ->type_name("MIB")
      ->check(CLI::Range(1U, 1024U));
  app.add_option_function<unsigned long long>(
         "--image-room", [&](unsigned long long mebibytes) { options.imageRoom = mebibytes << 20; },
         "Most that all images may take together [1024]")
      ->type_name("MIB")
      ->check(CLI::Range(0ULL, 1ULL << 40));
}

// What one peer, or all together, can take of the program.
void addLinkLimits(CLI::App& app, nk_openLinks::tLimits& limits) {
  limits.carrier.buffered = 128u << 10;  // also the most that one link is served at a time
  limits.perOrigin = 0;
  app.add_option("--connections", limits.links, "How many connections at once [64]")
      ->type_name("NUMBER")
      ->check(CLI::Range(1U, 100000U));
  app.add_option("--connections-per-address", limits.perOrigin,
                 "How many of them from one IP address, or one user of a Unix socket [half]")
      ->type_name("NUMBER")
      ->check(CLI::Range(1U, 100000U));
  nk_tools::addSecondsOption(app, "--first-frame", limits.firstFrame, 0,
                             "Time without progress until a first whole frame; 0: any [10]");
  app.add_option_function<unsigned int>(
         "--keep-alive",
         [&](unsigned int seconds) { limits.carrier.keepAlive = std::chrono::seconds(seconds); },
         "Silence after which TCP probes the peer; twice that ends it; 0: the system's [30]")
      ->type_name("SECONDS")
      ->check(CLI::Range(0U, 32767U));
  app.add_option_function<unsigned long long>(
         "--held", [&](unsigned long long mebibytes) { limits.held = mebibytes << 20; },
         "Maximum memory for data in transit, all connections together [128]")
      ->type_name("MIB")
      ->check(CLI::Range(4ULL, 1ULL << 40));
}

// An option with several values; `wrong` tells what one is that `add` does not take.
void addList(CLI::App& app, std::string const& name, std::string const& type,
             std::string const& help, std::string const& wrong,
             std::function<bool(std::string const&)> const& add) {
  auto const store = [=](std::vector<std::string> const& values) {
    for (auto const& each : values)
      if (!add(each))
        throw CLI::ValidationError(name, std::string("\"").append(each).append("\" is ") + wrong);
  };
  app.add_option_function<std::vector<std::string>>(name, store, help)
      ->type_name(type)
      ->delimiter(',');
}

void addPeers(CLI::App& app, nk_peerList& peers) {
  addList(app, "--peers", "PEER,...",
          "Who may connect: IP addresses, networks as 10.0.0.0/8, users of a Unix socket [all]",
          "no IP address, network or number of a user",
          [&peers](std::string const& text) { return peers.add(text); });
}

void addPermissions(CLI::App& app, tPermissions& permissions) {
  app.add_flag_callback(
      "--no-shutdown", [&] { permissions.shutDown = false; }, "Refuse to be shut down by stations");
  addList(app, "--stations", "ADDRESS,...",
          "Addresses of the stations that may change the panel or shut it down [all]", "no address",
          [&permissions](std::string const& text) {
            unsigned int address = 0;
            if (!nk_tools::parseAddress(text, address)) return false;
            permissions.stations.insert(address);
            return true;
          });
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a fault in the declarations throws
int main(int argc, char** argv) {
  nk_tools::programName = "nkdevice";
  std::signal(SIGPIPE, SIG_IGN);  // nobody need read standard error for the panel to go on
  CLI::App app("Simulates a display panel.", nk_tools::programName);
  tDevice::tOptions options;
  nk_tools::addLinkOption(app, [&](nk_linkUrl const& url) { options.link = url; })->required();
  nk_tools::addAddressOption(app, "--address", options.address, false, "The panel's own address")
      ->required();
  app.add_option("--state", options.panel.state, "Where to keep what must outlast the program")
      ->type_name("DIRECTORY");
  app.add_option("--displays", options.panel.displays, "How the screen is laid out, as JSON")
      ->type_name("FILE");
  addIdentity(app, options.panel.identity);
  addSensors(app, options.panel.statistics);
  addLinkLimits(app, options.limits);
  addPeers(app, options.peers);
  addPermissions(app, options.panel.permissions);
  addLimits(app, options.panel);
  app.add_flag("--verbose", options.panel.verbose, "Tell each request and what the engine does");
  nk_tools::addVersionOption(app);
  app.footer(footer + nk_tools::exitHelp(nk_tools::STATUS_LINK) + examples);
  return nk_tools::parseAndRun(app, argc, argv, [&] {
    tCompression::setMaxDecodedSize(options.panel.limits.largestContent());
    auto& limits = options.limits;
    if (limits.perOrigin == 0) limits.perOrigin = std::max(limits.links / 2, 1U);
    return tDevice(options).run();
  });
}
