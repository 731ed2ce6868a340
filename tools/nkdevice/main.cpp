#include <CLI/CLI.hpp>
#include <csignal>

#include "tools/common/options.h"
#include "tools/nkdevice/device.h"

namespace {

constexpr char footer[] =
    "Says on standard error when it is ready, with the port that the system chose for port 0:\n"
    "  nkdevice: listening on tcp://127.0.0.1:40123, address 2\n"
    "Answers GENERIC_REQ with the same two texts and TIME with its own clock; ends on SHUTDOWN,\n"
    "SIGINT and SIGTERM. Serves any number of stations at once. A serial line that is missing or\n"
    "vanishes is tried again until it is there.\n\n"
    "Exit status: 0 ended as told, 1 other failure, 2 wrong usage, 3 cannot listen.\n\n"
    "Examples:\n"
    "  nkdevice --link tcp://127.0.0.1:4711 --address 2\n"
    "  nkdevice --link unix:///tmp/panel.sock --address 0x20 --verbose\n"
    "  nkdevice --link serial:///dev/ttyUSB0?baud=115200 --address 2";

}  // namespace

int main(int argc, char** argv) {
  nk_tools::programName = "nkdevice";
  std::signal(SIGPIPE, SIG_IGN);  // nobody need read standard error for the panel to go on
  CLI::App app("Simulates a display panel.", nk_tools::programName);
  tDevice::tOptions options;
  nk_tools::addLinkOption(app, options.link);
  nk_tools::addAddressOption(app, "--address", options.address, false, "The panel's own address")
      ->required();
  app.add_flag("--verbose", options.verbose, "Tell each request and what the engine does");
  app.set_version_flag("--version", NK_VERSION);
  app.footer(footer);
  return nk_tools::parseAndRun(app, argc, argv, [&] { return tDevice(options).run(); });
}
