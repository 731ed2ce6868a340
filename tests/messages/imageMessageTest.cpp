#include "nkProtocol/imageMessage.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
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

constexpr char const* sha1OfAbc = "a9993e364706816aba3e25717850c26c9cd0d89d";
constexpr char const* sha1OfNothing = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

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
  tBlob content = bytes("abc");
  tBlob other = bytes("other");
  EXPECT_FALSE(message.add(1, "null", "image/png", nullptr));
  EXPECT_EQ(message.count(), 0u);
  EXPECT_TRUE(message.add(1, "first", "image/png", &content));
  EXPECT_TRUE(message.add(1, "again", "image/png", &other));
  ASSERT_EQ(message.count(), 1u);
  EXPECT_EQ(message.get(0)->name(), "first");
  EXPECT_EQ(message.get(0)->checksum(), sha1OfAbc);
  EXPECT_EQ(harness::text(content), "abc");
  // Without content an id may come as often as wanted.
  EXPECT_TRUE(message.add(1, "", "image/png") && message.add(1, "", "image/png"));
  ASSERT_EQ(message.count(), 3u);
  EXPECT_EQ(message.get(2)->checksum(), sha1OfNothing);
  EXPECT_TRUE(message.imageIsPresent(1));
  EXPECT_FALSE(message.imageIsPresent(2));
  EXPECT_EQ(message.get(3), nullptr);
}

TEST(Image, KeepsWhatPeersSendUnchecked) {
  nk_messageImage message(nk_message::VERSION_0);
  tBlob old = bytes("old");
  message.add(9, "old", "image/png", &old);
  ASSERT_TRUE(readJson(
      message,
      R"({"action":"images","type":"request","tv":1,"images":[{"uid":4,"cs":"x","mime":259,)"
      R"("content":"YWJj"},{"uid":4,"content":"no base64"}]})"));
  ASSERT_EQ(message.count(), 2u);
  nk_msgFile& file = *message.get(0);
  EXPECT_EQ(harness::text(file.content()), "abc");
  EXPECT_EQ(file.checksum(), "x");
  EXPECT_EQ(file.mimeType(), nk_msgFile::MIME_XML - 1);  // 259 in 8 bits
  EXPECT_EQ(message.get(1)->id(), 4u);
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
  struct tRow {
    std::string mimeType;
    int number;
    char const* name;
  };
  for (tRow const& row :
       {tRow{"image/png", 0, "image_id42.png"}, tRow{"image/jpeg", 1, "image_id42.jpg"},
        tRow{"application/pdf", 2, "image_id42.pdf"},
        tRow{"application/x-7z-compressed", 3, "image_id42.7z"},
        tRow{"application/octet-stream", 3, "image_id42.7z"},
        tRow{"application/xml", 4, "image_id42.xml"}, tRow{"text/xml", 4, "image_id42.xml"},
        tRow{"IMAGE/PNG", 5, "image_id42."}, tRow{"", 5, "image_id42."}}) {
    SCOPED_TRACE(row.mimeType);
    bool const good = row.number != nk_msgFile::MIME_UNSUPPORTED;
    tString name, mimeType(std::string_view(row.mimeType));
    std::unique_ptr<nk_msgFile> file;
    EXPECT_EQ(printedBy([&] { file = std::make_unique<nk_msgFile>(1, "", mimeType, nullptr); }),
              good ? "" : unsupported + row.mimeType + "\r\n");
    EXPECT_EQ(file->mimeType(), row.number);
    EXPECT_EQ(printedBy([&] { name = file->imageName(42); }), good ? "" : unsupported + "5\r\n");
    EXPECT_EQ(name, row.name);
  }
  EXPECT_EQ(nk_msgFile::imageNameByMimeType_e(~0ULL, nk_msgFile::MIME_JPEG),
            "image_id18446744073709551615.jpg");
  EXPECT_EQ(printedBy([] { nk_msgFile::getFileExtension(nk_msgFile::teMimeType(255)); }),
            "unsupported mime type: 255\r\n");
  EXPECT_EQ("x" + tString("y"), "xy");
}

class SaveToDir : public testing::Test {
 protected:
  tString save(char const* fileName, bool sync = false, char const* below = "",
               std::string const& what = "the new content") {
    tBlob content = bytes(what);
    nk_msgFile file(7, "", "image/png", &content);
    return file.saveToDir(path(below), sync, fileName);
  }
  tString path(char const* name) const { return tString(std::string_view(dir / name)); }
  std::string content(char const* name) const { return harness::contentOfFile(dir / name); }

  harness::tTempDir const dir;
};

TEST_F(SaveToDir, PutsTheWholeFileUnderItsName) {
  harness::write(dir / "own", "what was there before, longer than what comes");
  harness::write(dir / "own~", "left by a crash, longer than what comes, too");
  for (bool const sync : {false, true}) {
    EXPECT_EQ(save("", sync), path("image_id7.png"));
    EXPECT_EQ(save("own", sync), path("own"));
    EXPECT_EQ(content("image_id7.png"), "the new content");
    EXPECT_EQ(content("own"), "the new content");
    EXPECT_FALSE(fs::exists(dir / "own~"));
  }
}

TEST_F(SaveToDir, LeavesWhatWasThereWhenItCannotWrite) {
  EXPECT_EQ(save("x", false, "missing"), "");
  fs::create_symlink("/dev/full", dir / "own~");  // a disk without room
  harness::write(dir / "own", "before");
  for (bool const sync : {false, true}) EXPECT_EQ(save("own", sync), "");
  EXPECT_EQ(content("own"), "before");
  EXPECT_TRUE(fs::is_symlink(dir / "own~"));  // for the next try
}

TEST_F(SaveToDir, DoesNotSayWhenOnlyTheNameIsRefused) {
  fs::create_directories(dir / "own/full");
  for (bool const sync : {false, true}) EXPECT_EQ(save("own", sync), path("own"));
  EXPECT_EQ(content("own~"), "the new content");
}

// What `call` gives in a process of its own.
template <class Call>
bool inChild(Call call) {
  pid_t const child = ::fork();
  if (child == 0) ::_exit(call() ? 0 : 1);
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

// Leaves this process little room: by a limit on its files, or, where the system allows that, with
// a small file system of its own in the directory.
void narrow(fs::path const& directory, bool mayMount) {
  bool const mounted = mayMount &&
                       ::unshare(CLONE_NEWNS | (::geteuid() == 0 ? 0 : CLONE_NEWUSER)) == 0 &&
                       ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                       ::mount("none", directory.c_str(), "tmpfs", 0, "size=64k") == 0;
  rlimit const limit{65536, 65536};
  if (!mounted) ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, SIG_IGN);
}

TEST_F(SaveToDir, LeavesWhatWasThereWhenThereIsNoRoom) {
  std::string const fits(20000, 'a'), tooMuch(70000, 'b');
  for (bool const mayMount : {false, true}) {
    for (bool const sync : {false, true}) {
      EXPECT_TRUE(inChild([&] {
        narrow(dir / "", mayMount);
        return save("own", sync, "", fits) == path("own") &&
               save("own", sync, "", tooMuch).empty() && save("other", sync, "", tooMuch).empty() &&
               content("own") == fits && !fs::exists(dir / "other");
      })) << mayMount
          << sync;
    }
  }
}

TEST_F(SaveToDir, LeavesWhatWasThereWhenTheDirectoryIsReadOnly) {
  EXPECT_EQ(save("own"), path("own"));
  fs::permissions(dir / "", fs::perms(0555));
  EXPECT_TRUE(inChild([&] {
    constexpr unsigned int nobody = 65534;  // root writes everywhere
    if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0)) return false;
    return save("own", true, "", "other").empty() && save("", true).empty();
  }));
  fs::permissions(dir / "", fs::perms(0755));
  EXPECT_EQ(content("own"), "the new content");
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / ""), {}), 1);
}

TEST_F(SaveToDir, KilledAtAnyMomentLeavesAWholeFileOrNone) {
  std::string const contents[] = {std::string(300000, 'a'), std::string(500000, 'b')};
  for (unsigned int round = 0; round < 40; ++round) {
    int saved[2];
    ASSERT_EQ(::pipe(saved), 0);
    pid_t const child = ::fork();
    if (child == 0) {
      unsigned int i = round;
      do {
        save("own", i % 8 == 0, "", contents[i % 2]);
        ++i;
      } while (::write(saved[1], "x", 1) == 1);
      ::_exit(1);
    }
    // Some saves are waited for; the kill comes at some moment of the next one.
    char token = 0;
    for (unsigned int i = 0; i < round % 4; ++i) EXPECT_EQ(::read(saved[0], &token, 1), 1);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(saved[0]);
    ::close(saved[1]);
    auto const found = content("own");
    bool const none = round == 0 && !fs::exists(dir / "own");
    EXPECT_TRUE(none || found == contents[0] || found == contents[1]) << round << found.size();
  }
}

}  // namespace
