#include <gtest/gtest.h>

#include <algorithm>

#include "harness/programs.h"

namespace {

namespace fs = std::filesystem;
using harness::write;

class sync : public harness::programs {
 protected:
  sync() { fs::copy(NK_SITE, site, fs::copy_options::recursive); }
  // Synchronises with the panel; the requests that it got meanwhile but for looks at its state.
  std::string requests(int status, std::string const& options = "", std::string_view told = "") {
    device->errors.clear();
    expect("sync " + options + site, status, told);
    std::string const shown = output, said = errors;
    expect("time", 0);  // by now all that came before is in the log
    device->waitFor("request TIME");
    std::string all;
    std::istringstream lines(device->errors);
    for (std::string line; std::getline(lines, line);) {
      auto const at = line.find("request ");
      if (at == line.npos || line.find(" (type ") == line.npos) continue;
      auto const type = line.substr(at + 8, line.find(' ', at + 8) - at - 8);
      if (type != "STATE_REQ" && type != "TIME") all += type + " ";
    }
    output = shown;
    errors = said;
    return all;
  }
  void change(std::string const& file, std::string const& from, std::string const& to) {
    auto text = harness::contentOfFile(site + "/" + file);
    ASSERT_NE(text.find(from), text.npos);
    write(site + "/" + file, text.replace(text.find(from), from.size(), to));
  }

  std::string const site = dir / "site";
};

TEST_F(sync, sendsOnlyWhatDiffers) {
  start("--verbose");
  EXPECT_EQ(requests(6, "--dry-run ", "nothing was sent\n"), "");
  EXPECT_EQ(requests(0, "", "\nthe panel holds it all now\n"),
            "IMAGE IMAGE IMAGE SET_CONFIG_REQ SET_SCHEDULES_REQ ");
  EXPECT_EQ(requests(0, "", "\nnothing to send\n"), "");
  expect("config check " + site + "/config.json", 0);
  expect("schedules check " + site + "/schedules.json", 0);
  expect("images missing " + site + "/schedules.json", 0);

  change("config.json", "main hall", "side hall");
  EXPECT_EQ(requests(0), "SET_CONFIG_REQ ");
  // A new picture has a new uid, which the schedules follow; the old one goes on order only.
  write(site + "/images/welcome.png", "another");
  EXPECT_EQ(requests(0, "--json "), "IMAGE SET_SCHEDULES_REQ ");
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
  EXPECT_EQ(requests(0, "", "surplus\n"), "");
  EXPECT_EQ(requests(6, "--dry-run --remove "), "");
  EXPECT_EQ(requests(0, "--remove "), "IMAGE ");
  expect("images missing " + site + "/schedules.json", 0);
  EXPECT_EQ(requests(0), "");
  // What the directory does not have is left alone.
  fs::remove(site + "/config.json");
  fs::remove_all(site + "/images");
  change("schedules.json", R"("image": "images/welcome.png")", R"("imageUid": 1)");
  change("schedules.json", R"("image": "images/hall1.png")", R"("imageUid": 2)");
  EXPECT_EQ(requests(0), "SET_SCHEDULES_REQ ");
  expect("state", 0, "side hall");
  EXPECT_NE(output.find("images         3\n"), output.npos) << output;
}

TEST_F(sync, tellsWhatThePanelDoesNotTake) {
  start("--verbose");
  // Neither configuration nor images can be stored, so that the panel refuses both.
  fs::create_directories(dir / "state/config.log.new");
  write(dir / "state/images", "in the way");
  EXPECT_EQ(requests(6, "", "\nthe panel still differs\n"),
            "IMAGE IMAGE IMAGE SET_CONFIG_REQ SET_SCHEDULES_REQ ");
  EXPECT_EQ(requests(6), "IMAGE IMAGE IMAGE SET_CONFIG_REQ ");
}

TEST_F(sync, readsTheDirectoryStrictly) {
  startDevice("tcp://127.0.0.1:0", "--verbose");
  write(site + "/images/.hidden", "is passed over");
  std::string const needs = R"({"schedules":[{"uid":1,"startTime":0,"showOnLogicalDisplay":0,)"
                            R"("entries":[{"uid":1,"duration":1,)";
  struct {
    std::string file, content, words;
    int status;
  } const rows[] = {
      {"images/notes.txt", "x", "notes.txt is passed over: it ends in none of", 0},
      {"images/empty.PNG", "", "empty.PNG: is empty", 2},
      {"images/image_id4711.jpg", "x", "has the same uid as", 2},
      {"config.json", "{", "config.json: line 1", 2},
      {"schedules.json", needs + R"("image":"images/gone.png"}]}]})",
       "gone.png: No such file or directory", 2},
      {"schedules.json", needs + R"("imageUid":99}]}]})",
       "warning: the schedules need image 99, which is not in the directory", 0},
  };
  for (auto const& row : rows) {
    write(site + "/" + row.file, row.content);
    EXPECT_EQ(requests(row.status, "", row.words).empty(), row.status == 2) << row.words;
    fs::remove_all(site);
    fs::copy(NK_SITE, site, fs::copy_options::recursive);
  }
  expect("sync " + (dir / "none"), 2, "none: No such file or directory");
  expect("sync " + site + "/config.json", 2, "Not a directory");
  expect("sync " + site + "/images", 2, "holds neither");
}

}  // namespace
