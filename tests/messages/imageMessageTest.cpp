#include "nkProtocol/imageMessage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "golden.h"
#include "harness/files.h"
#include "harness/hex.h"
#include "reading.h"

namespace {

namespace fs = std::filesystem;
using harness::bytes;

std::unique_ptr<nk_message> image(nk_message::teVersion version) {
  auto message = std::make_unique<nk_messageImage>(version);
  message->setTaskRemove(1);
  message->setTaskFbc(6);
  tBlob content = bytes("abc");
  message->add(1ULL << 63, "hall.jpg", "image/jpeg", &content);
  return message;
}

}  // namespace

std::vector<tGoldenRow> imageMessageRows() {
  return {
      {"IMAGE", image,
       R"({"action":"images","type":"request","tv":1,"taskRemove":1,"taskFbc":6,)"
       R"("images":[{"uid":9223372036854775808,"name":"hall.jpg",)"
       R"("cs":"a9993e364706816aba3e25717850c26c9cd0d89d","mime":1,"content":"YWJj"}]})"},
  };
}

namespace {

TEST(Image, OnlyFilesWithContentAreAddedOnce) {
  nk_messageImage message(nk_message::VERSION_0);
  tBlob content = bytes("abc"), other = bytes("other");
  EXPECT_FALSE(message.add(1, "null", "image/png", nullptr));
  EXPECT_TRUE(message.add(1, "first", "image/png", &content));
  EXPECT_TRUE(message.add(1, "again", "image/png", &other));
  // Without content an id may come as often as wanted.
  EXPECT_TRUE(message.add(1, "", "image/png") && message.add(1, "", "image/png"));
  ASSERT_EQ(message.count(), 3u);
  EXPECT_EQ(message.get(0)->name(), "first");
  EXPECT_EQ(message.get(2)->checksum(), sha1Of("", 0));
  EXPECT_TRUE(message.imageIsPresent(1) && !message.imageIsPresent(2));
  EXPECT_EQ(message.get(3), nullptr);
}

TEST(Image, KeepsWhatPeersSendUnchecked) {
  nk_messageImage message(nk_message::VERSION_0);
  ASSERT_TRUE(readJson(
      message,
      R"({"action":"images","type":"request","tv":1,"images":[{"uid":4,"cs":"x","mime":259,)"
      R"("content":"YWJj"},{"uid":4,"content":"no base64"}]})"));
  ASSERT_EQ(message.count(), 2u);
  EXPECT_EQ(message.get(0)->checksum(), "x");
  EXPECT_EQ(message.get(0)->mimeType(), 3) << "259 in 8 bits";
  EXPECT_EQ(message.get(1)->mimeType(), nk_msgFile::MIME_UNSUPPORTED);
  EXPECT_TRUE(message.get(1)->content().empty());
}

template <class Call>
std::string printedBy(Call call) {
  testing::internal::CaptureStdout();
  call();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(File, MimeTypesHaveNumbersAndExtensions) {
  std::string const unsupported = "unsupported mime type: ";
  struct {
    std::string mimeType;
    int number;
    char const* name;
  } const rows[] = {
      {"image/png", 0, "image_id42.png"},
      {"image/jpeg", 1, "image_id42.jpg"},
      {"application/pdf", 2, "image_id42.pdf"},
      {"application/x-7z-compressed", 3, "image_id42.7z"},
      {"application/octet-stream", 3, "image_id42.7z"},
      {"application/xml", 4, "image_id42.xml"},
      {"text/xml", 4, "image_id42.xml"},
      {"IMAGE/PNG", 5, "image_id42."},
  };
  for (auto const& row : rows) {
    bool const good = row.number != nk_msgFile::MIME_UNSUPPORTED;
    tString name, mimeType(std::string_view(row.mimeType));
    std::unique_ptr<nk_msgFile> file;
    EXPECT_EQ(printedBy([&] { file = std::make_unique<nk_msgFile>(1, "", mimeType, nullptr); }),
              good ? "" : unsupported + row.mimeType + "\r\n");
    EXPECT_EQ(file->mimeType(), row.number) << row.mimeType;
    EXPECT_EQ(printedBy([&] { name = file->imageName(42); }), good ? "" : unsupported + "5\r\n");
    EXPECT_EQ(name, row.name);
  }
}

class SaveToDir : public testing::TestWithParam<bool> {
 protected:
  tString save(char const* fileName, char const* below = "") {
    tBlob content = bytes("the new content");
    nk_msgFile file(7, "", "image/png", &content);
    return file.saveToDir(path(below), GetParam(), fileName);
  }
  tString path(char const* name) const { return tString(std::string_view(dir / name)); }
  std::string content(char const* name) const { return harness::contentOfFile(dir / name); }

  harness::tTempDir const dir;
};

INSTANTIATE_TEST_SUITE_P(Sync, SaveToDir, testing::Bool());

TEST_P(SaveToDir, PutsTheWholeFileUnderItsName) {
  harness::write(dir / "own", "what was there before, longer than what comes");
  harness::write(dir / "own~", "left by a crash, longer than what comes, too");
  EXPECT_EQ(save(""), path("image_id7.png"));
  EXPECT_EQ(save("own"), path("own"));
  EXPECT_EQ(content("image_id7.png"), "the new content");
  EXPECT_EQ(content("own"), "the new content");
  EXPECT_FALSE(fs::exists(dir / "own~"));
}

TEST_P(SaveToDir, LeavesWhatWasThereWhenItCannotWrite) {
  EXPECT_EQ(save("x", "missing"), "");
  fs::create_symlink("/dev/full", dir / "own~");  // a disk without room
  harness::write(dir / "own", "before");
  EXPECT_EQ(save("own"), "");
  EXPECT_EQ(content("own"), "before");
  EXPECT_TRUE(fs::is_symlink(dir / "own~"));  // for the next try
}

// So that no moment at which the power fails leaves half a file under the name.
TEST_P(SaveToDir, SyncsTheContentBeforeItGetsItsName) {
  fs::create_symlink("/dev/null", dir / "own~");  // takes everything, but cannot be synced
  harness::write(dir / "own", "before");
  EXPECT_EQ(save("own"), GetParam() ? tString() : path("own"));
  EXPECT_EQ(content("own"), GetParam() ? "before" : "");
}

TEST_P(SaveToDir, DoesNotSayWhenOnlyTheNameIsRefused) {
  fs::create_directories(dir / "own/full");
  EXPECT_EQ(save("own"), path("own"));
  EXPECT_EQ(content("own~"), "the new content");
}

}  // namespace
