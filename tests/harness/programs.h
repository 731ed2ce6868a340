#pragma once

#include <memory>
#include <sstream>

#include "harness/program.h"
#include "nkProtocol/message.h"

/// For tests of the programs, which are found by the macros NK_DEVICE and NK_CTL.
namespace harness {

inline std::vector<std::string> words(std::string const& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

inline std::string contentOf(nk_message& message) {
  nk_serializer content;
  EXPECT_TRUE(message.serializeMsg(&content));
  return std::string(reinterpret_cast<char const*>(content.data()), content.size());
}

// nkdevice at address 2, and nkctl to talk to it.
class programs : public testing::Test {
 protected:
  std::unique_ptr<tProgram> startDevice(std::string const& url, std::string const& options = "") {
    auto device = std::make_unique<tProgram>(
        io, words(NK_DEVICE " --link " + url + " --address 2 " + options));
    station = device->waitFor("listening on ");
    station.resize(station.find(", address 2"));
    return device;
  }
  // Runs nkctl with these arguments and gives its exit status.
  int control(std::vector<std::string> const& arguments, std::string const& input = "/dev/null") {
    std::vector<std::string> all{NK_CTL};
    all.insert(all.end(), arguments.begin(), arguments.end());
    tProgram program(io, all, input);
    int const status = program.finish();
    output = program.output;
    errors = program.errors;
    return status;
  }
  // Runs a command, a line of words, with the device.
  int ask(std::string const& command) {
    return control(words("--link " + station + " --to 2 " + command));
  }

  asio::io_context io{1};
  harness::tTempDir dir;
  std::string station, output, errors;
};

}  // namespace harness
