#pragma once

#include <memory>
#include <sstream>

#include "harness/program.h"
#include "nkProtocol/message.h"
#include "nkSupport/tJson.h"

/// For tests of the programs, which are found by the macros NK_DEVICE and NK_CTL.
namespace harness {

inline std::vector<std::string> words(std::string const& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

inline unsigned int countOf(std::string_view word, std::string const& text) {
  unsigned int count = 0;
  for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) ++count;
  return count;
}

inline std::string contentOf(nk_message& message) {
  nk_serializer content;
  EXPECT_TRUE(message.serializeMsg(&content));
  return text(content);
}

// nkdevice at address 2, and nkctl to talk to it.
class programs : public testing::Test {
 protected:
  struct tRow {
    std::string arguments;
    int status;
    std::string words;  // that the program writes
  };
  void startDevice(std::string const& url, std::string const& options = "") {
    device = std::make_unique<tProgram>(
        io, words(NK_DEVICE " --link " + url + " --address 2 " + options));
    station = device->waitFor("listening on ");
    station.resize(station.find(", address 2"));
  }
  // Starts a device that keeps its state, at any port; ends the one that runs by `number` before.
  void start(std::string const& options = "") {
    startDevice("tcp://127.0.0.1:0", "--state " + state + " " + options);
  }
  void restart(int number, std::string const& options = "") {
    device->signal(number);
    device->finish();
    start(options);
  }
  // Runs a program to its end, keeps what it writes, and gives its exit status.
  int run(std::vector<std::string> const& arguments, std::string const& input = "/dev/null") {
    tProgram program(io, arguments, input);
    int const status = program.finish();
    output = program.output;
    errors = program.errors;
    return status;
  }
  // Runs nkctl with these arguments.
  int control(std::vector<std::string> const& arguments, std::string const& input = "/dev/null") {
    std::vector<std::string> all{NK_CTL};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all, input);
  }
  // The arguments of nkctl for a command to the device, a line of words. Unless it says how long it
  // may take, it may take as long as a test waits.
  std::string toDevice(std::string const& command) {
    auto const limit =
        command.starts_with("--timeout") ? "" : "--timeout " + harness::patienceText() + " ";
    return "--link " + station + " --to 2 " + limit + command;
  }
  // Runs a command with the device.
  int ask(std::string const& command) { return control(words(toDevice(command))); }
  // The same, and which exit status and words are to come of it.
  void expect(std::string const& command, int status, std::string_view told = "") {
    expectRun(NK_CTL " " + toDevice(command), status, told);
  }
  void expectRun(std::string const& line, int status, std::string_view told = "") {
    EXPECT_EQ(run(words(line)), status) << line << ": " << output << errors;
    EXPECT_NE((output + errors).find(told), std::string::npos)
        << line << ": no " << told << " in " << output << errors;
  }
  // The answer to a command, which is the last member of the object that --json prints.
  tJson answer(std::string const& command) {
    EXPECT_EQ(ask("--json " + command), 0) << errors;
    std::string_view const shown = output, key = R"("answer":)";
    auto const at = std::min(shown.find(key), shown.size() - key.size()) + key.size();
    tJson json;
    EXPECT_TRUE(json.parse(shown.substr(at, shown.rfind('}') - at))) << output;
    return json;
  }

  asio::io_context io{1};
  harness::tTempDir dir;
  std::string const state = dir / "state";
  std::unique_ptr<tProgram> device;
  std::string station, output, errors;
};

}  // namespace harness
