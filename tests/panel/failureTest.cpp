// What a panel holds when a system call fails: the old value or the new one, whole, and the same in
// memory and in the directory.

#include <cerrno>
#include <filesystem>
#include <functional>

#include "nkProtocol/file.h"
#include "panel/failingCalls.h"
#include "panel/panel.h"

namespace {

namespace fs = std::filesystem;
using harness::config;
using harness::imageContent;
using harness::optionsFor;
using harness::schedules;
using harness::tTestPanel;
using harness::write;

std::string heldOf(std::string const& directory) {
  return tTestPanel(optionsFor(directory)).held();
}

// How the directory is before the request: new, as a run has left it, or with torn records.
enum teBefore { BEFORE_NEW, BEFORE_KEPT, BEFORE_TORN };

void prepare(std::string const& directory, teBefore before) {
  if (before == BEFORE_NEW) return;
  tTestPanel panel(optionsFor(directory));
  for (auto const& content : {config(1, 1, ""), schedules(1, 1),
                              imageContent({{1, "a.png", "old"}, {2, "b.png", "two"}})})
    panel.ask(content);
  panel.panel.keep();
  if (before == BEFORE_KEPT) return;
  for (char const* const file : {"/config.log", "/schedules.log", "/images.log", "/events.log"})
    write(directory + file, harness::contentOfFile(directory + file) + "torn");
}

// One request with call number `at` failing; false if there is no such call.
bool fail(std::string const& request, teBefore before, unsigned int at, int error) {
  harness::tTempDir dir;
  auto const state = dir / "state", copy = dir / "copy", dark = dir / "dark";
  prepare(state, before);
  tTestPanel panel(optionsFor(state));
  auto const old = panel.held();
  failingCalls::arm(at, error);
  panel.ask(request);
  if (before != BEFORE_TORN) panel.panel.keepChanges();
  failingCalls::disarm();
  auto const& failed = failingCalls::failed();
  auto const now = panel.held();
  EXPECT_EQ(failingCalls::hastyRenames(), 0u);
  fs::copy(state, copy, fs::copy_options::recursive);
  failingCalls::losePower();
  fs::copy(state, dark, fs::copy_options::recursive);
  auto const where = failed + " " + std::to_string(at);
  EXPECT_EQ(heldOf(copy), now) << where;
  auto const afterLoss = heldOf(dark);
  EXPECT_TRUE(afterLoss == now || (!failed.empty() && afterLoss == old)) << where;
  auto const said = panel.events();
  bool const vital = failed == "write" || failed == "fsync" || failed == "rename";
  EXPECT_TRUE(!vital || said.find("10*") != said.npos) << where << "\n" << said;
  for (auto const& each : fs::directory_iterator(copy))
    EXPECT_TRUE(each.path().extension() != ".new" || failed == "unlink") << where;
  return !failed.empty();
}

TEST(failures, leaveTheOldOrTheNew) {
  std::string const rows[] = {
      config(2, 1, ""),
      schedules(2, 1),
      harness::state(1, "hall"),
      imageContent({{1, "a.png", "new"}, {3, "c.png", "three"}}),
      imageContent({{2, "", ""}}, 1),
      imageContent({{4, "/", "x"}}),
  };
  unsigned int calls = 0;
  for (auto const& request : rows) {
    for (auto const before : {BEFORE_NEW, BEFORE_KEPT, BEFORE_TORN}) {
      for (int const error : {EIO, ENOSPC}) {
        for (unsigned int at = 1; fail(request, before, at, error); ++at) ++calls;
      }
    }
  }
  EXPECT_GT(calls, 300u);
}

TEST(failures, atTheStartLoseNothing) {
  std::string held, failed = "some";
  for (unsigned int at = 1; !failed.empty(); ++at) {
    harness::tTempDir dir;
    prepare(dir / "state", BEFORE_KEPT);
    auto const options = optionsFor(dir / "state");
    if (held.empty()) held = heldOf(options.state);
    {
      tPanel panel(options, [] {});
      failingCalls::arm(at, EIO);
      panel.load();
      failed = failingCalls::failed();
      failingCalls::disarm();
    }
    EXPECT_EQ(heldOf(options.state), held) << failed << " " << at;
  }
}

// The library's way of writing files, which others use.
TEST(failures, noFileIsRenamedBeforeItsBytesAreSynced) {
  harness::tTempDir const dir;
  tBlob content = harness::bytes("x");
  nk_msgFile file(1, "a.png", "image/png", &content);
  failingCalls::arm(1000, EIO);
  EXPECT_FALSE(file.saveToDir(tString(std::string_view(dir / "")), true, "a").empty());
  failingCalls::disarm();
  EXPECT_EQ(failingCalls::hastyRenames(), 0u);
}

}  // namespace
