#include <gtest/gtest.h>

#include "harness/programs.h"
#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "tools/common/program.h"
#include "tools/nkctl/settingsFile.h"

namespace {

using harness::contentOf;
using harness::programs;
using harness::write;

constexpr char config[] = R"({"action":"config","type":"request","tv":1,"updateTime":7,
 "timeslots":[{"name":"day","start":1,"stop":2,"activity":3}],"deviceName":"hall",
 "frames":[{"name":"f","left":1,"width":2,"height":3,"id":10,"logDisp":4}]})";

// Schedules with these uids.
std::string schedules(std::vector<std::string> const& uids) {
  std::string text;
  for (auto const& uid : uids) {
    text += std::string(text.empty() ? "" : ",") + R"({"uid":)" + uid +
            R"(,"name":"s","startTime":"2026-03-01 06:00:00","stopTime":-5,"flags":7,
 "showOnLogicalDisplay":65535,"entries":[{"uid":18446744073709551615,"name":"e",
 "duration":4294967295,"imageUid":9223372036854775808}]})";
  }
  return R"({"schedules":[)" + text + "]}";
}

class settings : public programs {
 protected:
  struct tRow {
    std::string content, problem;
  };
  template <class Message>
  void checkFiles(std::string (*read)(std::string const&, Message&),
                  std::vector<tRow> const& rows) {
    for (auto const& row : rows) {
      Message message(nk_message::VERSION_3);
      std::string const got = read(write(dir / "x", row.content), message);
      EXPECT_EQ(got.empty(), row.problem.empty()) << row.content.substr(0, 99) << got;
      EXPECT_NE(got.find(row.problem), got.npos) << row.content.substr(0, 99) << got;
    }
  }

  std::string file = write(dir / "config.json", config),
              set = write(dir / "set.json", schedules({"18446744073709551615"}));
};

TEST_F(settings, outlastAKillAndARestart) {
  start("--serial 4000000000");
  expect("config init " + (dir / "new.json"), 0);
  expect("config check " + (dir / "new.json"), 0);
  expect("config set " + file, 0);
  expect("schedules check " + set, 6);
  expect("schedules set --json " + set, 0,
         R"("answer":{"action":"schedules","type":"response","tv":1,"cs":")");
  restart(SIGKILL, "--serial 4000000000");
  EXPECT_EQ(device->errors.find("nkdevice: listening"), 0u) << device->errors;
  expect("config check " + file, 0);
  expect("schedules check " + set, 0);
  expect("state --json", 0, R"("serial":4000000000)");
  expect("state", 0, "\ndevice name    hall\n");
}

// A panel drops only every second one of neighbours that are to go.
TEST_F(settings, schedulesAreSentUntilThePanelHoldsThem) {
  startDevice("tcp://127.0.0.1:0", "--verbose");
  struct {
    std::vector<std::string> uids;
    unsigned int requests;
  } const rows[] = {{{"1", "2", "3", "4", "5", "6"}, 1}, {{"6"}, 3}, {{}, 1}, {{}, 1}};
  for (auto const& row : rows) {
    device->errors.clear();
    expect("schedules set " + write(dir / "set", schedules(row.uids)), 0);
    expect("time", 0);
    device->waitFor("request TIME");
    EXPECT_EQ(harness::countOf("request SET_S", device->errors), row.requests) << device->errors;
  }
}

TEST_F(settings, filesAreReadStrictly) {
  std::string const head = R"({"action":"config","type":"request","tv":1,)";
  std::string const tail = R"("startTime":0,"showOnLogicalDisplay":0,"entries":[)";
  checkFiles<nk_messageSetConfigReq>(
      readConfigFile,
      {
          {config, ""},
          {"{", "line 1: Missing"},
          {"\n\n[1}", "line 3: "},
          {"[]", "is no object"},
          {std::string(100000, '['), "nests too deep"},
          {"{}", "action is missing"},
          {R"({"action":"state","type":"request","tv":1})", "is no configuration"},
          {head + R"("opMod":1})", "line 1: \"opMod\" is no key here"},
          {head + "\n\"opMod\":1}", "line 2: \"opMod\" is no key here"},
          {"\xEF\xBB\xBF" + head + "}", "byte order mark"},
          {std::string("{\0", 2), "is UTF-16"},
          {head + R"("opMode":256})", "opMode is no integer from 0 to 255"},
          {head + R"("opMode":1.0})", "opMode is no integer"},
          {head + R"("updateTemp":-129})", "updateTemp is no integer from -128 to 127"},
          {head + R"("sleepUserEna":1})", "sleepUserEna is neither"},
          {head + R"("deviceName":null})", "deviceName is no text"},
          {head + R"("tv":1})", "tv is there twice"},
          {head + R"("frames":{}})", "frames is no array"},
          {head + R"("frames":[1]})", "frames[0] is no object"},
          {head + R"("frames":[{"width":1,"height":1,"id":9}]})",
           "frames[0].id is no integer from 10"},
          {head + R"("frames":[{"width":1,"height":1,"id":10},{"width":1,"height":1,"id":10}]})",
           "two frames"},
      });
  checkFiles<nk_messageSetSchedulesReq>(
      readSchedulesFile,
      {
          {schedules({"0", "18446744073709551615"}), ""},
          {schedules({"18446744073709551616"}), "schedules[0].uid is no integer"},
          {schedules({"-1"}), "schedules[0].uid is no integer"},
          {schedules({"\"1\""}), "schedules[0].uid is no integer"},
          {schedules({"1", "2", "1"}), "schedules[2].uid belongs to another"},
          {config, "\"action\" is no key here"},
          {"{}", "schedules is missing"},
          {R"({"schedules":[{"uid":1,)" + tail + R"({"uid":1,"duration":1}]}]})",
           "schedules[0].entries[0].imageUid is missing"},
          {R"({"schedules":[{"uid":1,"stopTime":"1970-02-30 00:00:00",)" + tail + "]}]}",
           "schedules[0].stopTime is neither"},
      });
  nk_messageSetSchedulesReq read(nk_message::VERSION_3), built(nk_message::VERSION_3);
  EXPECT_EQ(readSchedulesFile(set, read), "");
  built.addSchedule_(~0ULL, "s", 1772344800, -5, 7, 65535)
      ->addScheduleEntry(~0ULL, "e", ~0u, 1ULL << 63, false);
  EXPECT_EQ(contentOf(read), contentOf(built));

  expectRun(NK_CTL " config check " + (dir / "none"), 2, "none: No such file or directory");
  expectRun(NK_CTL " schedules set " + file, 2, "\"action\" is no key here");
  expectRun(NK_CTL " config init -", 0, "\"slideshowInterval_sec\": 5");
  expectRun(NK_CTL " schedules preview --at 1772344801 --config " + file + " " + set, 0, "nothing");
  expectRun(NK_CTL " schedules preview --at yesterday " + set, 2, "--at yesterday");
}

TEST(programsDocument, hasTheExitStatusesOfTheHelp) {
  std::ifstream stream(NK_DOCS "/programs.md");
  std::string const text{std::istreambuf_iterator<char>(stream), {}};
  std::istringstream help(nk_tools::exitHelp(nk_tools::STATUS_DIFFERS));
  std::string line;
  std::getline(help, line);  // the heading
  while (std::getline(help, line)) EXPECT_NE(text.find(line + "\n"), text.npos) << line;
}

}  // namespace
