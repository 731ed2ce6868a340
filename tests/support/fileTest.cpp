#include "nkSupport/tFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "harness/files.h"
#include "harness/hex.h"

namespace {

constexpr int fresh = tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate;

using harness::bytes;
using harness::contentOfFile;
using harness::write;

class fileTest : public testing::Test {
 protected:
  tString path(std::string const& name) const { return tString(std::string_view(dir / name)); }
  static std::string content(tString const& path) { return contentOfFile(path.c_str()); }

  harness::tTempDir const dir;
};

TEST_F(fileTest, replacesAFileInOneStepAndSyncsIt) {
  write(dir / "image", "the old and longer content");
  write(dir / "image.tmp", "left behind by a crash, longer than the new content");
  tFile file(fresh, path("image.tmp"));
  EXPECT_TRUE(file.add(tBlob("new\0", 4)) && file.add(tBlob()) && file.add(bytes("content")));
  file.beginSync();
  EXPECT_TRUE(file.sync() && file.close() && !file.isOpen());
  EXPECT_TRUE(tFile::renameFile(path("image.tmp"), path("image")));
  EXPECT_TRUE(file.open(path("image")) && file.sync() && file.close());
  EXPECT_TRUE(file.close());  // nothing left to close
  EXPECT_EQ(content(path("image")), std::string("new\0content", 11));
  EXPECT_FALSE(std::filesystem::exists(path("image.tmp").c_str()));
}

TEST_F(fileTest, openKeepsWhatIsThere) {
  tFile file(fresh, path("log"));
  EXPECT_TRUE(file.add(bytes("one ")));
  EXPECT_TRUE(file.open() && file.add(bytes("two")));  // closes, does not empty
  EXPECT_TRUE(tFile(tFile::modeWrite, path("log")).add(bytes(" three")));
  EXPECT_EQ(content(path("log")), "one two three");
  EXPECT_FALSE(file.open(path("missing")) || file.isOpen() || file.open());  // does not create
}

TEST_F(fileTest, tellsWhatTheSystemRefuses) {
  write(dir / "plain", "x");
  auto const before = std::filesystem::current_path();
  std::filesystem::current_path(dir / "");
  struct {
    int mode;
    tString path;
    bool opens, adds, syncs;
  } const rows[] = {
      {fresh, "here", true, true, true},
      {fresh, path("missing/file"), false, false, false},
      {fresh, path("plain/file"), false, false, false},
      {fresh, path(""), false, false, false},
      {fresh, "", false, false, false},
      {fresh, tString(std::string_view("/dev/null\0x", 11)), false, false, false},
      {tFile::modeWrite, path("missing"), false, false, false},
      {0, path("missing"), false, false, false},
      {0, path("plain"), true, false, true},
      {tFile::modeTruncate, path("plain"), true, false, true},
      {tFile::modeWrite, "/dev/full", true, false, false},
  };
  for (auto const& row : rows) {
    tFile file(row.mode, row.path);
    EXPECT_EQ(file.isOpen(), row.opens) << row.path.c_str();
    EXPECT_EQ(file.add(bytes("bytes")), row.adds) << row.path.c_str();
    EXPECT_EQ(file.sync(), row.syncs) << row.path.c_str();
    EXPECT_TRUE(file.close()) << row.path.c_str();
  }
  std::filesystem::current_path(before);
  EXPECT_FALSE(tFile::renameFile(path("missing"), path("plain")) ||
               tFile::renameFile(path("plain"), path("")) ||
               tFile::renameFile(path("plain"), path("missing/file")));
  EXPECT_EQ(content(path("plain")), "x");
}

TEST_F(fileTest, otherProgramsDoNotInheritIt) {
  int const next = ::dup(0);  // the number that the file will have
  ::close(next);
  tFile const file(fresh, path("own"));
  EXPECT_EQ(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(next)),
            path("own").c_str());
  EXPECT_NE(::fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
}

// A pipe that is read slowly, and a signal for every piece read: writes are cut short all the time.
TEST_F(fileTest, carriesOnThroughSignals) {
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::string sent(3000000, 'x');
  for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * i >> 7);
  std::string received;
  pthread_t const writer = ::pthread_self();
  std::thread reader([&] {
    int const in = ::open(path("pipe").c_str(), O_RDONLY);
    char piece[4096];
    for (ssize_t count; (count = ::read(in, piece, sizeof piece)) > 0;) {
      received.append(piece, static_cast<std::size_t>(count));
      if (received.size() < sent.size()) ::pthread_kill(writer, SIGUSR1);
    }
    ::close(in);
  });
  tFile file(tFile::modeWrite, path("pipe"));
  EXPECT_TRUE(file.add(bytes(sent)));
  EXPECT_TRUE(file.close());
  reader.join();
  EXPECT_TRUE(received == sent);
}

}  // namespace
