#include "harness/images.h"
#include "harness/programs.h"

#include <gtest/gtest.h>

#include "tools/nkctl/progress.h"

namespace {

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
  // A file with schedules of one entry, which has these members for its image.
  std::string set(char const* file, char const* entry) {
    return write(dir / file,
                 std::string(R"({"schedules":[{"uid":1,"name":"s","startTime":0,)"
                             R"("showOnLogicalDisplay":0,"entries":[{"uid":1,"duration":1,)"
                             R"("name":"e",)") +
                     entry + "}]}]}");
  }
};

TEST_F(images, areSentByTheStation) {
  start("--image-room 1");
  write(dir / "large.png", std::string((1 << 20) + 1, 'x'));
  write(dir / "a.png", "abc");  // SHA-1 a9993e364706816a...
  write(dir / "image_id18446744073709551615.jpg", "def");
  write(dir / "image_id07.png", "ghi");
  write(dir / "empty.png", "");
  write(dir / "text.txt", "abc");
  auto const here = [&](char const* name) { return " " + (dir / name); };
  tRow const rows[] = {
      {"images missing " + set("both.json", R"("image":"a.png","imageUid":1)"), 2,
       "schedules[0].entries[0] has both imageUid and image"},
      {"images missing " + set("none.json", R"("image":"b.png")"), 2,
       "schedules[0].entries[0].image: "},
      {"images uid" + here("a.png") + here("image_id07.png"), 0, "12220867466687316330  "},
      {"images uid" + here("none.png"), 2, "none.png: No such file or directory"},
      {"images uid" + here("text.txt"), 2, "ends in none of"},
      {"images send -", 2, "cannot come from standard input"},
      {"images send" + here("a.png") + here("empty.png"), 2, "empty.png: is empty"},
      {"images send" + here("a.png") + here("./a.png"), 2, "has the same uid as"},
      {"images missing " + set("set.json", R"("image":"a.png")"), 6,
       "12220867466687316330  s: e\n"},
      {"images send --progress" + here("a.png"), 0, "12220867466687316330  a.png  held\n"},
      {"images missing " + (dir / "set.json"), 0, "none missing of 1\n"},
      {"images send --json" + here("image_id18446744073709551615.jpg"), 0,
       R"("images":[{"uid":"12220867466687316330"},{"uid":"18446744073709551615"}])"},
      {"images send" + here("large.png"), 6, "not held"},
      {"events", 0, "refused: the panel has no room for it"},
      {"images remove 12220867466687316330 5", 6, "5                     was not held\n"},
      {"images remove -- -5", 2, "-5 is no uid"},
      {"images remove 5x", 2, "5x is no uid"},
      {"state", 0, "images         1\n               18446744073709551615\n"},
      {"images", 2, "a command is required: send, missing, remove, uid"},
  };
  for (auto const& row : rows) {
    expect(row.arguments, row.status, row.words);
    EXPECT_EQ(errors.find("a.png 100 % of") != errors.npos,
              row.arguments.find("--progress") != errors.npos)
        << errors;
  }
}

}  // namespace
