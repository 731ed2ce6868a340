#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <cstdio>
#include <list>
#include <string>
#include <utility>

#include "link/linkedEngine.h"
#include "link/listener.h"
#include "nkProtocol/nkProtocol.h"

namespace {

constexpr unsigned int ownAddress = 2;

// What the panel holds, and how it answers for it. It knows nothing of links.
class tPanel {
 public:
  explicit tPanel(asio::io_context& io) : m_io(io) {}
  static void asked(unsigned int station, tBlob* content, void* context);

 private:
  void answer(nk_message::teType type, nk_message::teVersion version, nk_serializer& request,
              nk_serializer& answer);
  void state(nk_messageStateRsp& state);

  asio::io_context& m_io;
  nk_messageSetConfigReq m_config{nk_message::VERSION_3};
  nk_messageSetSchedulesReq m_schedules{nk_message::VERSION_3};
};

// The receive callback: takes the request out of `content` and leaves the answer there, or nothing.
void tPanel::asked(unsigned int, tBlob* content, void* context) {
  nk_serializer request(std::move(*content));
  content->clear();
  nk_serializer answer;
  unsigned short type = 0, version = 0;
  if (request.numbers(nk_serializer::SER_READ, type, version)) {
    static_cast<tPanel*>(context)->answer(nk_message::teType(type), nk_message::teVersion(version),
                                          request, answer);
  }
  content->swap(answer);
}

// A message that was cut short keeps defaults in what is missing: not what a station has set.
bool isWhole(nk_message& message, nk_serializer& request) {
  return message.serialize(&request, nk_serializer::SER_READ) && request.remaining() == 0;
}

// Answers in the version that was asked in. What is set is answered by the checksum of what is now
// in force: the station sees from it whether its set was taken.
void tPanel::answer(nk_message::teType type, nk_message::teVersion version, nk_serializer& request,
                    nk_serializer& answer) {
  if (type == nk_message::STATE_REQ) {
    nk_messageStateRsp response(version);
    state(response);
    response.serializeMsg(&answer);
  } else if (type == nk_message::SET_CONFIG_REQ) {
    nk_messageSetConfigReq config(version);
    if (isWhole(config, request)) m_config.setConfigFrom(&config);
    nk_messageSetConfigRsp response(version);
    response.setChecksum(m_config.checksum(version));
    response.serializeMsg(&answer);
  } else if (type == nk_message::SET_SCHEDULES_REQ) {
    nk_messageSetSchedulesReq schedules(version);
    if (isWhole(schedules, request)) m_schedules.setSchedulesFrom(&schedules);
    nk_messageSetSchedulesRsp response(version);
    response.setChecksum(m_schedules.checksum(version));
    response.serializeMsg(&answer);
  } else if (type == nk_message::TIME) {
    nk_messageTime(version).serializeMsg(&answer);
  } else if (type == nk_message::SHUTDOWN) {
    m_io.stop();
  }
}

void tPanel::state(nk_messageStateRsp& state) {
  auto const version = state.version();
  state.set(4711, "example", m_config.checksum(version), m_schedules.checksum(version), 0, 0, "1.0",
            "1.0", 0, "", m_config.device_getName(), "", {});
}

int fail(std::string const& problem) {
  std::fprintf(stderr, "panel: %s\n", problem.c_str());
  return 1;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): asio throws where memory or descriptors lack
int main(int count, char** arguments) {
  nk_linkUrl url;
  std::string problem = "usage: panel tcp://HOST:PORT | unix:///PATH";
  if (count != 2 || !nk_linkUrl::parse(arguments[1], url, problem)) return fail(problem);

  asio::io_context io{1};
  tPanel panel(io);
  std::list<nk_linkedEngine> links;  // one for each station
  auto const sweep = [&] { links.remove_if([](auto const& each) { return each.finished(); }); };

  nk_listener listener(io);
  if (auto const error = listener.open(url)) return fail(error.message());
  listener.start([&](int descriptor) {
    nk_linkedEngine::tSetup setup;
    setup.address = ownAddress;
    setup.receive = tPanel::asked;
    setup.context = &panel;
    setup.guard = nk_linkGuard::tOptions::all(ownAddress);
    auto& link = links.emplace_back(io, descriptor, nk_carrier::tLimits{}, setup);
    link.start([&] {
      if (link.finished()) asio::post(io, sweep);
    });
  });
  std::printf("ready: %s\n", listener.url().text().c_str());
  std::fflush(stdout);
  io.run();
}
