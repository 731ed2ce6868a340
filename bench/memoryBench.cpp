// How much memory the programs need at most while an image goes from one to the other over TCP.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "harness/hex.h"

namespace {

constexpr unsigned int size = 10 << 20;

// Starts a program; its standard error comes to `errors`, unless that is null.
pid_t start(std::vector<std::string> arguments, int* errors) {
  int ends[2] = {-1, -1};
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
  if (errors != nullptr && ::pipe2(ends, O_CLOEXEC) == 0)
    posix_spawn_file_actions_adddup2(&files, ends[1], 2);
  std::vector<char*> words;
  for (auto& each : arguments) words.push_back(each.data());
  words.push_back(nullptr);
  pid_t process = -1;
  if (::posix_spawn(&process, words[0], &files, nullptr, words.data(), environ) != 0) process = -1;
  posix_spawn_file_actions_destroy(&files);
  if (errors != nullptr) {
    *errors = ends[0];
    ::close(ends[1]);
  }
  return process;
}

// The most memory that a program had so far, in bytes; `before` if it has none any more.
double peak(pid_t process, double before) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string key;
  double kibi = 0;
  while (status >> key) {
    if (key == "VmHWM:" && status >> kibi) return kibi * 1024;
  }
  return before;
}

// Where the panel says that it listens; empty if it does not.
std::string listening(int errors) {
  std::string said;
  char byte = 0;
  while (said.find(", address") == said.npos && ::read(errors, &byte, 1) == 1) said += byte;
  auto const begin = said.find("tcp://");
  return begin == said.npos ? "" : said.substr(begin, said.find(", address") - begin);
}

// Has one image sent; false if anything goes wrong. The peaks are in bytes.
bool sendImage(std::string const& directory, double& station, double& panel) {
  auto const file = directory + "/noise.png";
  auto const content = harness::noise(size);
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<char const*>(content.data()), content.size());
  int errors = -1;
  pid_t const device = start(
      {NK_DEVICE, "--link", "tcp://127.0.0.1:0", "--address", "2", "--state", directory + "/state"},
      &errors);
  auto const link = listening(errors);
  pid_t const control = start(
      {NK_CTL, "--link", link, "--to", "2", "--timeout", "60", "images", "send", file}, nullptr);
  // What a program needed at most is gone with it, so it is looked at as long as it is there; its
  // peak is behind it when it waits for the answer.
  int status = -1;
  while (control > 0 && ::waitpid(control, &status, WNOHANG) == 0) {
    station = peak(control, station);
    ::usleep(500);
  }
  panel = peak(device, panel);
  int ended = -1;
  if (device > 0) {
    ::kill(device, SIGTERM);
    ::waitpid(device, &ended, 0);
  }
  ::close(errors);
  return status == 0 && ended == 0 && station > size && panel > size;
}

struct tPeaks {
  double station = NAN, panel = NAN;  // in times of the content
};

tPeaks measure() {
  char directory[] = "/tmp/nkbenchXXXXXX";
  double station = 0, panel = 0;
  bool const good = ::mkdtemp(directory) != nullptr && sendImage(directory, station, panel);
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return good ? tPeaks{station / size, panel / size} : tPeaks{};
}

void rows() {
  constexpr double most = 6;
  static auto const peaks = [] {
    static tPeaks const once = measure();
    return once;
  };
  bench::figure("peak memory of nkctl sending an image of 10 MiB, in times of it", most,
                [] { return peaks().station; });
  bench::figure("peak memory of nkdevice receiving an image of 10 MiB, in times of it", most,
                [] { return peaks().panel; });
}
bench::tRegister const registered(rows);

}  // namespace
