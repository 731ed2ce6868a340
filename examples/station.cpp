#include <asio/io_context.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "link/dialer.h"
#include "link/station.h"
#include "nkProtocol/nkProtocol.h"

namespace {

using std::chrono::seconds;

constexpr unsigned int panel = 2;

// Opens the link, again and again for two seconds; -1 if that was in vain.
int open(nk_linkUrl const& url) {
  asio::io_context io{1};
  int link = -1;
  bool gaveUp = false;
  nk_dialer::tPlan plan;
  plan.giveUp = seconds(2);
  nk_dialer dialer(
      io, url, plan,
      {[&](int descriptor) { link = descriptor; }, {}, [&](std::error_code) { gaveUp = true; }});
  dialer.dial();
  while (link < 0 && !gaveUp) io.run_one();
  return link;
}

tBlob contentOf(nk_message& message) {
  nk_serializer bytes;
  message.serializeMsg(&bytes);
  return tBlob(std::move(bytes));
}

// Sends a configuration, and tells whether the panel holds just that afterwards.
bool setName(nk_station& station, tString const& name) {
  nk_messageSetConfigReq config(nk_message::VERSION_3);
  config.device_setName(name);
  auto call = station.ask(contentOf(config), panel, seconds(5));
  if (!call.valid()) return false;  // the station has too much to do
  auto result = call.get();
  if (result.outcome != nk_station::OUTCOME_ANSWER) return false;
  std::unique_ptr<nk_message> const message(nk_message::getMessage(&result.content));
  auto const* answer = dynamic_cast<nk_messageSetConfigRsp*>(message.get());
  return answer != nullptr && answer->getChecksum() == config.checksum(config.version());
}

// Called on the station's polling thread, exactly once.
void printState(nk_station::tResult&& result) {
  if (result.outcome != nk_station::OUTCOME_ANSWER) {
    std::printf("no answer: %s\n", result.reason.message().c_str());
    return;
  }
  std::unique_ptr<nk_message> const message(nk_message::getMessage(&result.content));
  if (auto* state = dynamic_cast<nk_messageStateRsp*>(message.get())) {
    std::printf("panel %u is called %s\n", result.address, state->devName().c_str());
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): asio throws where memory or descriptors lack
int main(int count, char** arguments) {
  nk_linkUrl url;
  std::string problem = "usage: station URL";
  if (count != 2 || !nk_linkUrl::parse(arguments[1], url, problem)) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 2;
  }
  // Answers are known by their number alone, and some to an earlier run may still be on their way.
  nk_protocol::u32TlgNumber = std::random_device()();

  int const link = open(url);
  if (link < 0) return 3;
  nk_station::tOptions options;
  options.address = 1;
  nk_station station(link, options);

  bool const named = setName(station, "hall");
  std::printf("%s\n", named ? "the panel has its configuration" : "the panel differs");
  nk_messageStateReq ask(nk_message::VERSION_2);
  station.ask(contentOf(ask), panel, seconds(5), printState);
  nk_messageShutdown shutDown(nk_message::VERSION_0);
  station.tell(contentOf(shutDown), panel, seconds(5), {});
  station.finish(seconds(5));
  return named ? 0 : 1;
}
