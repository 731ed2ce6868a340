// A panel that is sent anything, and a second one that takes over its directory.

#include <filesystem>
#include <memory>
#include <string>

#include "fuzz.h"
#include "harness/files.h"
#include "harness/images.h"
#include "nkProtocol/stateMessages.h"
#include "nkSupport/tCompression.h"
#include "panel/held.h"

namespace {

using fuzz::require;
namespace fs = std::filesystem;

constexpr nk_message::teType types[] = {
    nk_message::STATE_REQ, nk_message::SET_CONFIG_REQ, nk_message::SET_SCHEDULES_REQ,
    nk_message::IMAGE,     nk_message::EVENTS_REQ,     nk_message::STATISTICS_REQ,
    nk_message::TIME,      nk_message::GENERIC_REQ,    nk_message::GET_DISPLAY_CONFIGURATION_REQ,
};

std::unique_ptr<tPanel> panelIn(fs::path const& directory) {
  tPanel::tOptions options;
  options.state = directory;
  options.statistics.thermometer.clear();
  options.limits = {.text = 20, .timeSlots = 10, .frames = 10, .schedules = 10, .entries = 20};
  auto panel = std::make_unique<tPanel>(options, [] {});
  require(panel->load() == nk_tools::STATUS_OK, "a panel takes over any directory of its own");
  return panel;
}

void ask(tPanel& panel, nk_message::teType type, nk_message::teVersion version, tBlob const& body) {
  nk_serializer content;
  unsigned short number = type, revision = version;
  content.numbers(nk_serializer::SER_WRITE, number, revision);
  content.append(body);
  panel.receive({1, "the fuzzer"}, content);
}

// Body of an IMAGE message with one image, or with the task to remove it.
tBlob imageBody(fuzz::tInput& input) {
  auto const content = harness::text(input.bytes(input.below(4)));
  unsigned char const task = input.below(8) == 0 ? 1 : 0;
  return harness::bytes(harness::imageContent({{input.below(4), "a", content}}, task).substr(4));
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  tCompression::setMaxDecodedSize(1 << 20);
  // In memory where the system offers that.
  harness::tTempDir const dir(fs::exists("/dev/shm") ? "/dev/shm" : "/tmp");
  fs::path const directory = dir / "state", stored = directory / "images";
  auto panel = panelIn(directory);
  fuzz::tInput input(data, size);
  while (!input.empty()) {
    auto const type = input.oneOf(types);
    auto const version = nk_message::teVersion(input.below(5));
    auto const body = type == nk_message::IMAGE && input.below(4) != 0
                          ? imageBody(input)
                          : input.bytes(input.number<unsigned char>());
    ask(*panel, type, version, body);
    if (input.below(8) == 0) panel->keepChanges();
  }
  require(panel->keep(), "what a panel holds can be stored");
  auto const held = harness::heldBy(*panel);
  auto const images = panel->images().uids().size();
  auto const events = panel->events().count();
  panel.reset();
  panel = panelIn(directory);
  require(harness::heldBy(*panel) == held, "a panel answers after a restart as before");
  require(panel->events().count() == events, "no event is lost or added by a restart");
  auto const files = fs::exists(stored) ? std::distance(fs::directory_iterator(stored), {}) : 0;
  require(files == static_cast<std::ptrdiff_t>(images), "there is one file for each image");
  return 0;
}
