#include <asio/io_context.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "link/dialer.h"
#include "link/station.h"
#include "nkProtocol/nkProtocol.h"
#include "nkSupport/tTime.h"

namespace {

using std::chrono::seconds;

constexpr unsigned int panel = 2;
constexpr unsigned long long imageUid = 4711;
constexpr auto limit = seconds(30);  // of each call; an answer ends the wait at once

// Opens the link, with as many tries as fit into two seconds; -1 and a message if all failed.
int open(nk_linkUrl const& url) {
  asio::io_context io{1};
  int link = -1;
  bool gaveUp = false;
  auto const opened = [&](int descriptor) { link = descriptor; };
  auto const failed = [&](std::error_code reason) {
    std::fprintf(stderr, "station: cannot open %s: %s\n", url.text().c_str(),
                 reason.message().c_str());
    gaveUp = true;
  };
  nk_dialer::tPlan plan;
  plan.giveUp = seconds(2);
  nk_dialer dialer(io, url, plan, {opened, {}, failed});
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
  auto call = station.ask(contentOf(config), panel, limit);
  if (!call.valid()) return false;  // the station has too much to do
  auto result = call.get();
  if (result.outcome != nk_station::OUTCOME_ANSWER) return false;
  std::unique_ptr<nk_message> const message(nk_message::getMessage(&result.content));
  auto const* answer = dynamic_cast<nk_messageSetConfigRsp*>(message.get());
  return answer != nullptr && answer->getChecksum() == config.checksum(config.version());
}

tBlob bytesOf(char const* path) {
  std::ifstream file(path, std::ios::binary);
  std::string const bytes{std::istreambuf_iterator<char>(file), {}};
  return tBlob(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

// Sends an image. There is no answer: STATE_RSP tells whether the panel holds it.
bool sendImage(nk_station& station, tBlob content) {
  nk_messageImage message(nk_message::VERSION_3);
  message.add(imageUid, "way out", "image/png", &content);
  auto call = station.tell(contentOf(message), panel, limit);
  return call.valid() && call.get().outcome == nk_station::OUTCOME_SENT;
}

// Has display 0 show the image from now on.
bool showImage(nk_station& station) {
  constexpr unsigned int untilStopTime = 6, loop = 1;
  long long const now = tTime::now();
  nk_messageSetSchedulesReq set(nk_message::VERSION_3);
  auto* const schedule = set.addSchedule_(1, "always", now, now + 86400, untilStopTime | loop, 0);
  schedule->addScheduleEntry(1, "way out", 10, imageUid, false);
  auto call = station.ask(contentOf(set), panel, limit);
  return call.valid() && call.get().outcome == nk_station::OUTCOME_ANSWER;
}

// Called on the station's polling thread, exactly once.
void printState(nk_station::tResult&& result) {
  if (result.outcome != nk_station::OUTCOME_ANSWER) {
    std::printf("no answer: %s\n", result.reason.message().c_str());
    return;
  }
  std::unique_ptr<nk_message> const message(nk_message::getMessage(&result.content));
  if (auto* state = dynamic_cast<nk_messageStateRsp*>(message.get())) {
    std::printf("panel %u is called %s and %s the image\n", result.address,
                state->devName().c_str(), state->imageUidPresent(imageUid) ? "holds" : "lacks");
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): asio throws where memory or descriptors lack
int main(int count, char** arguments) {
  nk_linkUrl url;
  std::string problem = "usage: station URL PNG-FILE";
  if (count != 3 || !nk_linkUrl::parse(arguments[1], url, problem)) {
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
  bool const sent = sendImage(station, bytesOf(arguments[2])) && showImage(station);
  nk_messageStateReq ask(nk_message::VERSION_2);
  station.ask(contentOf(ask), panel, limit, printState);
  nk_messageShutdown shutDown(nk_message::VERSION_0);
  station.tell(contentOf(shutDown), panel, limit, {});
  station.finish(limit);
  return named && sent ? 0 : 1;
}
