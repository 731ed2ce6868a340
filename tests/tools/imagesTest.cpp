#include "harness/images.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "tools/nkctl/progress.h"

namespace {

namespace fs = std::filesystem;
using harness::contentOfFile;
using harness::imageContent;
using harness::write;

TEST(imageNames, thatAPanelTakes) {
  struct {
    char const* problem;
    std::vector<std::string> names;
  } const rows[] = {
      {"",
       {"hall 1.png", "\xc3\xbc.png", "\xe2\x82\xac.png", std::string(200, 'x'), ".hidden.png"}},
      {"no name", {""}},
      {"too long", {std::string(201, 'x')}},
      {"path separator", {"../x.png", "/etc/passwd", "a\\b.png"}},
      {"directory", {"..", ".", "a..png"}},
      {"zero byte", {std::string("a.png\0", 6), std::string("\0", 1)}},
      {"control",
       {"a\x1b[2J.png", "a\x7f", "\xc2\x9b\x32J", "\x9b\x32J", "\xc3\xbc\x9b", "\xff\x9b"}},
      {"temporary", {"a.png~", "images.log.new", "x.bad"}},
  };
  for (auto const& row : rows) {
    for (auto const& name : row.names) {
      char const* const problem = nk_tools::imageNameProblem(name);
      EXPECT_EQ(problem == nullptr, *row.problem == '\0') << name;
      EXPECT_NE(std::string(problem != nullptr ? problem : "").find(row.problem), name.npos)
          << name;
    }
  }
}

TEST(progress, isDrawnWithRateAndTime) {
  struct {
    unsigned long long gone, all;
    double seconds;
    std::string line;
  } const rows[] = {
      {0, 1000, 1, "x  [------------------------] 0 %"},
      {0, ~0ull, 1, "x  [------------------------] 0 %"},
      {1, 0, 0, "x  [########################] 100 %"},
      {500, 1000, 2, "x  [############------------] 50 %  250 bytes/s  0:02 left"},
      {1 << 20, 63 << 20, 1, "x  [------------------------] 1 %  1.0 MiB/s  1:02 left"},
      {1536, 1536, 1, "x  [########################] 100 %  1.5 KiB/s  0:00 left"},
  };
  for (auto const& row : rows)
    EXPECT_EQ(progressLine("x", row.gone, row.all, row.seconds, 79), row.line);
  struct {
    unsigned int columns;
    std::string line;
  } const widths[] = {
      {79, "image_id13490917019411708510.png  [#######-------] 50 %  250 bytes/s  0:02 left"},
      {60, "image_id...8510.png  [####----] 50 %  250 bytes/s  0:02 left"},
      {39, "image_id1...708510.png  [####----] 50 %"},
      {12, "i...ng  50 %"},
  };
  for (auto const& row : widths) {
    auto const line = progressLine("image_id13490917019411708510.png", 500, 1000, 2, row.columns);
    EXPECT_EQ(line, row.line);
    EXPECT_LE(line.size(), row.columns);
  }
}

class images : public harness::programs {
 protected:
  // Sends an IMAGE message as it is; the answer to the next request shows that it was handled.
  void send(std::string const& content) {
    expect("raw --no-response " + write(dir / "content", content), 0);
  }
  // What the panel holds, by uid: the names and contents of its files.
  std::string held() {
    std::map<unsigned long long, std::string> all;
    std::istringstream log(contentOfFile(state + "/images.log"));
    for (std::string line; std::getline(log, line);) {
      tJson change, one;
      if (line[0] != '{' || !change.parse(line)) continue;
      for (unsigned int i = 0; change.getArrayObject("removed", i, one); ++i)
        all.erase(static_cast<unsigned long long>(one.getInt("uid", 0)));
      for (unsigned int i = 0; change.getArrayObject("images", i, one); ++i) {
        auto const uid = static_cast<unsigned long long>(one.getInt("uid", 0));
        auto const file = state + "/images/image_id" + std::to_string(uid) + "_" +
                          one.getString("cs").c_str() + ".png";
        all[uid] = std::to_string(uid) + "=" + one.getString("name").c_str() + ":" +
                   contentOfFile(file) + " ";
      }
    }
    EXPECT_EQ(answer("state").getArraySize("images"), all.size());
    std::string text;
    for (auto const& each : all) text += each.second;
    return text;
  }

  // A file with schedules of one entry, which has these members for its image.
  std::string set(char const* entry) {
    return write(dir / "set.json",
                 std::string(R"({"schedules":[{"uid":1,"name":"s","startTime":0,)"
                             R"("showOnLogicalDisplay":0,"entries":[{"uid":1,"duration":1,)"
                             R"("name":"e",)") +
                     entry + "}]}]}");
  }
};

TEST_F(images, areStoredReplacedAndRemoved) {
  start();
  struct {
    std::string content;
    char const* held;
  } const rows[] = {
      {imageContent({{7, "a.png", "one"}}), "7=a.png:one "},
      {imageContent({{7, "a.png", "two"}}), "7=a.png:two "},
      {imageContent({{~0ULL, "a.png", "three"}, {7, "b.png", "two"}}),
       "7=b.png:two 18446744073709551615=a.png:three "},
      {imageContent({}), "7=b.png:two 18446744073709551615=a.png:three "},
      {imageContent({{1, "", ""}, {7, "../..", ""}}, 1), "18446744073709551615=a.png:three "},
  };
  for (auto const& row : rows) {
    send(row.content);
    EXPECT_EQ(held(), row.held);
    restart(SIGKILL);
    auto const now = held();
    EXPECT_EQ(now, row.held);
    EXPECT_EQ(std::distance(fs::directory_iterator(state + "/images"), {}),
              std::count(now.begin(), now.end(), '='));
  }
}

TEST_F(images, thatAreNotRightAreRefusedAndReported) {
  start();
  std::string const wrong(40, '0');
  auto const good = imageContent({{7, "a.png", "old"}});
  send(good);
  auto const cut = [](std::string const& content) { return content.substr(0, content.size() - 1); };
  struct {
    std::string content, event;
  } const rows[] = {
      {imageContent({{7, "a.png", "new", wrong}}), "image 7 refused: its checksum is not that"},
      {imageContent({{7, "a.png", "new", "../../../../x"}}), "image 7 refused: its checksum"},
      {imageContent({{8, "../../escaped.png", "x"}}), "image 8 refused: its name has a path sep"},
      {imageContent({{12, "", "x"}}), "image 12 refused: it has no name"},
      {imageContent({{13, "a.png", ""}}), "image 13 refused: it is empty"},
      {imageContent({{14, "a.png", "x", "", 5}}), "image 14 refused: its mime type"},
      {cut(good), "images refused: the message is damaged"},
      {good + "x", "images refused: the message is damaged"},
      {imageContent({{7, "", ""}}, 2), "images refused: taskRemove 2"},
      {imageContent(std::vector<harness::tSentFile>(10001)), "images refused: more than"},
      {imageContent({{1, "/", "x"}, {2, "b.png", "good"}}), "image 1 refused"},
  };
  for (auto const& row : rows) {
    bool const last = &row == std::end(rows) - 1;
    send(row.content);
    expect("events", 0, row.event);
    EXPECT_EQ(held(), std::string(last ? "2=b.png:good " : "") + "7=a.png:old ") << row.event;
    EXPECT_NE(device->errors.find("nkdevice: " + row.event), output.npos) << row.event;
  }
  std::set<std::string> names;
  for (auto const& each : fs::directory_iterator(dir / ".")) names.insert(each.path().filename());
  EXPECT_EQ(names, (std::set<std::string>{"content", "state"})) << "nothing outside";
}

TEST_F(images, whoseFilesAreDamagedAreDropped) {
  start();
  send(imageContent({{7, "a.png", "seven"}, {8, "b.png", "eight"}}));
  EXPECT_EQ(held(), "7=a.png:seven 8=b.png:eight ");
  write(state + "/images/image_id9_x.png~", "what a crash left behind");
  for (auto const& each : fs::directory_iterator(state + "/images")) {
    if (each.path().string().find("image_id7") != std::string::npos) write(each.path(), "Seven");
  }
  restart(SIGKILL);
  EXPECT_NE(device->errors.find("image 7 is damaged or missing"), std::string::npos);
  EXPECT_EQ(held(), "8=b.png:eight ");
  EXPECT_EQ(std::distance(fs::directory_iterator(state + "/images"), {}), 1);
  for (char const* const index : {"", "{}\n", "0 2 plain\n{}\n"}) {
    write(state + "/images.log", index);
    restart(SIGKILL);
    EXPECT_NE(device->errors.find("images.log is damaged or beyond the limits; it is now"),
              std::string::npos)
        << index;
    expect("images remove 8", 6, "was not held");
  }
  send(imageContent({{8, "b.png", "again"}}));
  EXPECT_EQ(held(), "8=b.png:again ");
  // What cannot be stored is refused.
  fs::remove_all(state + "/images");
  write(state + "/images", "in the way");
  send(imageContent({{9, "c.png", "x"}}));
  expect("events", 0, "image 9 refused: it cannot be stored");
}

TEST_F(images, haveSoMuchRoomTogether) {
  start("--image-room 1");
  auto const file = [&](unsigned int uid, unsigned int size) {
    return write(dir / ("image_id" + std::to_string(uid) + ".png"),
                 harness::randomBytes(size, uid));
  };
  expect("images send " + file(1, 600000), 0);
  expect("images send " + file(2, 600000), 6, "not held");
  expect("events", 0, "image 2 refused: the panel has no room for it");
  restart(SIGKILL, "--image-room 1");
  expect("images send " + file(2, 600000), 6);
  expect("images send " + file(1, 1000000), 0);
  expect("images send " + file(2, 48576), 0);
}

// The kill comes while images are on their way; what counts then must be whole.
TEST_F(images, areWholeOrNotThereAfterAKill) {
  std::string files[2];  // each set replaces the other
  for (unsigned int i = 0; i < 12; ++i)
    files[i / 6] +=
        " " + write(dir / ("image_id" + std::to_string(i % 6) + (i < 6 ? ".png" : ".jpg")),
                    harness::randomBytes(200000 + i, i));
  start("--verbose");
  for (unsigned int round = 0; round < 12; ++round) {
    harness::tProgram sender(
        io, harness::words(NK_CTL " " + toDevice("images send" + files[round % 2])));
    EXPECT_TRUE(harness::runUntil(io, [&] {
      return harness::countOf("request IMAGE", device->errors) > round % 6;
    })) << device->errors;
    restart(SIGKILL, "--verbose");
    sender.finish();
    EXPECT_EQ(device->errors.find("nkdevice: listening"), 0u) << device->errors;
  }
  expect("images send" + files[0], 0);
}

TEST_F(images, areSentByTheStation) {
  start();
  write(dir / "a.png", "abc");  // SHA-1 a9993e364706816a...
  write(dir / "image_id18446744073709551615.jpg", "def");
  write(dir / "image_id07.png", "ghi");
  write(dir / "empty.png", "");
  write(dir / "text.txt", "abc");
  auto const here = [&](char const* name) { return " " + (dir / name); };
  struct {
    std::string command;
    int status;
    std::string words;
  } const rows[] = {
      {"images uid" + here("a.png") + here("image_id07.png"), 0, "12220867466687316330  "},
      {"images uid" + here("none.png"), 2, "none.png: No such file or directory"},
      {"images uid" + here("text.txt"), 2, "ends in none of"},
      {"images send -", 2, "cannot come from standard input"},
      {"images send" + here("a.png") + here("empty.png"), 2, "empty.png: is empty"},
      {"images send" + here("a.png") + here("./a.png"), 2, "has the same uid as"},
      {"images missing " + set(R"("image":"a.png")"), 6, "12220867466687316330  s: e\n"},
      {"images send --progress" + here("a.png"), 0, "12220867466687316330  a.png  held\n"},
      {"images missing " + (dir / "set.json"), 0, "none missing of 1\n"},
      {"images send --json" + here("image_id18446744073709551615.jpg"), 0,
       R"("images":[{"uid":"12220867466687316330"},{"uid":"18446744073709551615"}])"},
      {"images remove 12220867466687316330 5", 6, "5                     was not held\n"},
      {"images remove -- -5", 2, "-5 is no uid"},
      {"images remove 5x", 2, "5x is no uid"},
      {"state", 0, "images         1\n               18446744073709551615\n"},
      {"images", 2, "a command is required: send, missing, remove, uid"},
  };
  for (auto const& row : rows) {
    expect(row.command, row.status, row.words);
    EXPECT_EQ(errors.find("a.png 100 % of") != errors.npos,
              row.command.find("--progress") != errors.npos)
        << errors;
  }
}

TEST_F(images, ofSchedulesAreNamedByUidOrFile) {
  start();
  write(dir / "a.png", "abc");
  expect("images missing " + set(R"("image":"a.png","imageUid":1)"), 2,
         "schedules[0].entries[0] has both imageUid and image");
  expect("images missing " + set(R"("image":"b.png")"), 2, "schedules[0].entries[0].image: ");
}

}  // namespace
