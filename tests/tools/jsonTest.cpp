#include <gtest/gtest.h>

#include "harness/programs.h"

// What scripts read: with --json every run prints one object, whatever came of it.
namespace {

using harness::programs;
using harness::words;
using harness::write;

// Reads a file of lines as strictly as JSON allows, integers as doubles do, and tells of each what
// every object has; of a panel's name the bytes.
constexpr char reader[] = R"py(
import json, sys
def number(digits):
    assert abs(int(digits)) <= 2 ** 53, digits
    return int(digits)
def raw(text):
    return b"".join(bytes([ord(c) - 0xEF00]) if "\uef80" <= c <= "\uefff" else c.encode() for c in text)
for line in open(sys.argv[1], "rb"):
    o = json.loads(line.decode("utf-8", "strict"), parse_int=number, parse_constant=None)
    json.dumps(o, ensure_ascii=False).encode("utf-8", "strict")
    name = o.get("answer", {}).get("devName")
    print(o.get("link"), o.get("to"), o["status"], o["result"], "error" in o, name and raw(name).hex())
)py";

TEST_F(programs, printOneObjectPerRunForScripts) {
  start("--displays " NK_SITE "/displays.json");
  std::string const site = NK_SITE, config = site + "/config.json", set = site + "/schedules.json",
                    image = site + "/images/welcome.png";
  auto const unknown = write(dir / "unknown", std::string("\x10\0\0\0", 4));
  // NOLINTNEXTLINE(misc-misleading-bidirectional): the source has escapes only
  std::string const name = "caf\xe9\xc2\x9b\xe2\x80\xae\xee\xbe\x80",
                    named = " 636166e9c29be280aeeebe80", hall = " 6d61696e2068616c6c";
  struct {
    std::string command, told;
  } const rows[] = {
      {"set-name " + name, "0 same False" + named},
      {"state", "0 answered False" + named},
      {"time", "0 answered False None"},
      {"generic " + name + " \xff", "0 answered False None"},
      {"raw " + write(dir / "time", std::string("\x0b\0\0\0\0\0\0\0", 8)), "0 answered False None"},
      {"raw --no-response " + unknown, "0 sent False None"},
      {"--timeout 0.1 raw " + unknown, "4 failed True None"},
      {"raw " + name, "2 failed True None"},
      {"statistics", "0 answered False None"},
      {"events", "0 answered False None"},
      {"events --sort newest", "2 failed True None"},
      {"display", "0 answered False None"},
      {"config init -", "0 written False None"},
      {"config init " + config, "1 failed True None"},
      {"config check " + config, "6 different False" + named},
      {"images missing " + set, "6 missing False" + named},
      {"sync --dry-run " + site, "6 different False" + named},
      {"sync " + site, "0 same False" + hall},
      {"sync " + site, "0 same False" + hall},
      {"config set " + config, "0 same False None"},
      {"schedules set " + set, "0 same False None"},
      {"schedules check " + set, "0 same False" + hall},
      {"schedules preview " + set + " --config " + config, "0 done False None"},
      {"images missing " + set, "0 complete False" + hall},
      {"images uid " + image, "0 done False None"},
      {"images send " + image, "0 held False" + hall},
      // What a reader with doubles makes of 1349091701941170851.
      {"images remove 1349091701941170900", "6 different False" + hall},
      {"images remove 1349091701941170851", "0 gone False" + hall},
      {"images send " + unknown, "2 failed True None"},
      {"stat", "2 failed True None"},
      {"shutdown", "0 sent False None"},
      {"state", "3 failed True None"},
  };
  std::string lines, expected;
  for (auto const& row : rows) {
    if (row.command == "state" && !lines.empty() && row.told[0] == '3') device->finish();
    bool const before = (&row - rows) % 2 != 0 && !row.command.starts_with("--");
    ask((before ? "--json " : "") + row.command + (before ? "" : " --json"));
    EXPECT_EQ(harness::countOf("\n", output), 1u) << row.command << ": " << output << errors;
    lines += output;
    expected += station + " 2 " + row.told + "\n";
  }
  EXPECT_EQ(run({words(NK_PEER)[0], "-c", reader, write(dir / "lines", lines)}), 0) << errors;
  EXPECT_EQ(output, expected) << lines;
  EXPECT_EQ(ask("--json --help"), 0);
  EXPECT_EQ(output.find("\"status\""), output.npos) << "help is for people";
}

}  // namespace
