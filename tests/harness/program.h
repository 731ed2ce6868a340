#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "harness/system.h"
#include "link/carrier.h"

namespace harness {

/// A program that was started, with what it writes. It is killed if it still runs at the end.
class tProgram {
 public:
  /// `arguments` begins with the path of the program. `input` is the file it reads. With a
  /// `terminal`, whose far end is taken, all that it writes goes there and is found in `output`.
  tProgram(asio::io_context& io, std::vector<std::string> arguments,
           std::string const& input = "/dev/null", tTerminal* terminal = nullptr)
      : m_io(io) {
    int out[2], err[2];
    EXPECT_EQ(::pipe2(out, O_CLOEXEC) | ::pipe2(err, O_CLOEXEC), 0);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, out[1], 1);
    posix_spawn_file_actions_adddup2(&files, err[1], 2);
    for (int one = 1; terminal != nullptr && one <= 2; ++one)
      posix_spawn_file_actions_addopen(&files, one, terminal->path.c_str(), O_WRONLY, 0);
    std::vector<char*> words;
    for (auto& each : arguments) words.push_back(each.data());
    words.push_back(nullptr);
    EXPECT_EQ(::posix_spawn(&m_process, words[0], &files, nullptr, words.data(), environ), 0);
    posix_spawn_file_actions_destroy(&files);
    ::close(out[1]);
    ::close(err[1]);
    tDescriptor pipe(out[0]);
    m_out = std::make_unique<nk_carrier>(
        io, (terminal != nullptr ? terminal->master : pipe).release(), nk_carrier::tLimits{});
    m_err = std::make_unique<nk_carrier>(io, err[0], nk_carrier::tLimits{});
    m_out->start([this] { drain(*m_out, output); });
    m_err->start([this] { drain(*m_err, errors); });
  }
  tProgram(tProgram const&) = delete;
  tProgram& operator=(tProgram const&) = delete;
  ~tProgram() {
    if (m_process <= 0) return;
    signal(SIGKILL);
    ::waitpid(m_process, nullptr, 0);
  }

  void signal(int number) const { ::kill(m_process, number); }
  pid_t process() const { return m_process; }
  /// Waits until standard error holds `text`, and gives the rest of that line.
  std::string waitFor(std::string const& text) {
    auto const found = [&] { return errors.find('\n', errors.find(text)) != errors.npos; };
    EXPECT_TRUE(runUntil(m_io, [&] { return errors.find(text) != errors.npos && found(); }))
        << "no " << text << " in " << errors;
    auto const begin = std::min(errors.find(text), errors.size() - text.size()) + text.size();
    return errors.substr(begin, errors.find('\n', begin) - begin);
  }
  /// Waits for the end and gives the exit status; 128 + signal if one killed it.
  int finish() {
    // A terminal that was left breaks, a pipe ends.
    auto const over = [](nk_carrier& one) { return one.ended() || one.error(); };
    bool const ended = runUntil(m_io, [&] { return over(*m_out) && over(*m_err); });
    EXPECT_TRUE(ended) << errors;
    if (!ended) signal(SIGKILL);
    int status = 0;
    EXPECT_EQ(::waitpid(m_process, &status, 0), m_process);
    m_process = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  std::string output, errors;

 private:
  static void drain(nk_carrier& from, std::string& to) {
    unsigned char buffer[4096];
    while (auto const count = from.receive(buffer, sizeof buffer))
      to.append(reinterpret_cast<char*>(buffer), count);
  }

  asio::io_context& m_io;
  pid_t m_process = 0;
  std::unique_ptr<nk_carrier> m_out, m_err;
};

/// Two serial lines that are joined: what one program writes, the other reads.
class tCable {
  struct tEnd : tTerminal {
    explicit tEnd(asio::io_context& io)
        : held(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)),
          carrier(io, master.release(), {}) {}
    tDescriptor held;  // an open line does not hang up when a program leaves it
    nk_carrier carrier;
  };
  static void move(nk_carrier& from, nk_carrier& to) {
    unsigned char buffer[4096];
    int error = 0;
    while (!to.congested()) {
      auto const count = from.receive(buffer, sizeof buffer);
      if (count == 0) break;
      to.send(buffer, count, error);
    }
  }
  tEnd m_left, m_right;

 public:
  explicit tCable(asio::io_context& io) : m_left(io), m_right(io) {
    for (auto* const end : {&m_left, &m_right}) {
      end->carrier.start([this] {
        move(m_left.carrier, m_right.carrier);
        move(m_right.carrier, m_left.carrier);
      });
    }
  }
  std::string const &left = m_left.path, &right = m_right.path;
};

}  // namespace harness
