#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "harness/files.h"
#include "harness/hex.h"
#include "link/linkUrl.h"

/// What tests of links need from the system, gone with its scope, and waiting with a deadline.
namespace harness {

/// The most that a test waits for anything, under an emulator too. The time limits of ctest follow
/// from this line, and those of programs that tests run from patienceText().
constexpr std::chrono::seconds patience{240};
inline std::string patienceText() { return std::to_string(patience.count()); }

/// A descriptor that is closed at the end.
class tDescriptor {
 public:
  explicit tDescriptor(int descriptor = -1) : m_descriptor(descriptor) {}
  tDescriptor(tDescriptor&& other) noexcept : m_descriptor(other.release()) {}
  tDescriptor& operator=(tDescriptor&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
  }
  ~tDescriptor() { close(); }
  int get() const { return m_descriptor; }
  int release() { return std::exchange(m_descriptor, -1); }
  void close() {
    if (m_descriptor >= 0) ::close(release());
  }

 private:
  int m_descriptor;
};

/// A pseudo-terminal: `path` is what a program opens as its serial line, `master` the far end.
struct tTerminal {
  tTerminal() : master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
    char name[128] = "";
    EXPECT_EQ(::grantpt(master.get()) | ::unlockpt(master.get()), 0);
    EXPECT_EQ(::ptsname_r(master.get(), name, sizeof name), 0);
    path = name;
  }
  tDescriptor master;
  std::string path;
};

/// Both ends of a link between this process and itself.
inline std::pair<tDescriptor, tDescriptor> socketPair() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
  return {tDescriptor(ends[0]), tDescriptor(ends[1])};
}

/// Sends `bytes`, which the system must take at once.
inline void give(tDescriptor const& to, std::string const& bytes) {
  EXPECT_EQ(::send(to.get(), bytes.data(), bytes.size(), 0), ssize_t(bytes.size()));
}

inline std::string randomBytes(unsigned int count, unsigned int seed) {
  return text(noise(count, seed));
}

inline nk_linkUrl urlOf(std::string const& text) {
  nk_linkUrl url;
  std::string error;
  EXPECT_TRUE(nk_linkUrl::parse(text, url, error)) << text << ": " << error;
  return url;
}

/// Waits until `done`, which another thread brings about; false if that does not happen.
inline bool becomes(std::function<bool()> const& done) {
  auto const deadline = std::chrono::steady_clock::now() + patience;
  for (; !done(); std::this_thread::yield())
    if (std::chrono::steady_clock::now() > deadline) return false;
  return true;
}

/// Runs `io` until `done`; false if that does not come about.
inline bool runUntil(asio::io_context& io, std::function<bool()> const& done) {
  auto const deadline = std::chrono::steady_clock::now() + patience;
  while (!done()) {
    io.restart();
    if (io.run_one_until(deadline) == 0) return done();
  }
  return true;
}

}  // namespace harness
