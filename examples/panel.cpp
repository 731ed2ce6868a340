#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdio>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "link/linkedEngine.h"
#include "link/listener.h"
#include "nkProtocol/nkProtocol.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tTime.h"

namespace {

constexpr unsigned int ownAddress = 2;
constexpr unsigned int mostContent = 8u << 20;  // bytes of one message
constexpr unsigned int mostImages = 100;

// What the panel holds, and how it answers for it. It knows nothing of links.
class tPanel {
 public:
  explicit tPanel(asio::io_context& io) : m_io(io) {}
  static void asked(unsigned int station, tBlob* content, void* context);
  void draw();

 private:
  void answer(nk_message::teType type, nk_message::teVersion version, nk_serializer& request,
              nk_serializer& answer);
  void images(nk_messageImage& message);
  void state(nk_messageStateRsp& state);

  asio::io_context& m_io;
  nk_messageSetConfigReq m_config{nk_message::VERSION_3};
  nk_messageSetSchedulesReq m_schedules{nk_message::VERSION_3};
  std::map<unsigned long long, tBlob> m_images;  // contents by uid
  unsigned long long m_drawn = 0;
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
  } else if (type == nk_message::IMAGE) {
    nk_messageImage message(version);
    if (isWhole(message, request)) images(message);
  } else if (type == nk_message::TIME) {
    nk_messageTime(version).serializeMsg(&answer);
  } else if (type == nk_message::SHUTDOWN) {
    m_io.stop();
  }
}

// The library does not compare the checksum that was sent with the content.
bool isIntact(nk_msgFile& file) {
  SHA1 sha1;
  sha1.Input(file.content().data(), file.content().size());
  return sha1.Result() == file.checksum();
}

// Task 0 brings images, task 1 takes images away. There is no answer: what the panel holds then
// stands in STATE_RSP.
void tPanel::images(nk_messageImage& message) {
  for (unsigned int i = 0; i < message.count(); ++i) {
    auto& file = *message.get(i);
    bool const known = m_images.contains(file.id());
    if (message.taskRemove() == 1) {
      m_images.erase(file.id());
    } else if (message.taskRemove() == 0 && isIntact(file) &&
               (known || m_images.size() < mostImages)) {
      m_images.insert_or_assign(file.id(), std::move(file.content()));
    }
  }
}

void tPanel::state(nk_messageStateRsp& state) {
  auto const version = state.version();
  std::vector<unsigned long long> uids;
  for (auto const& each : m_images) uids.push_back(each.first);
  state.set(4711, "example", m_config.checksum(version), m_schedules.checksum(version), 0, 0, "1.0",
            "1.0", 0, "", m_config.device_getName(), "", uids);
}

// The entry that a logical display shows at `now`, in seconds as tTime counts them; null if none.
// Of the schedules that run then, the one with the latest start counts; of equal starts, the last.
nk_messageScheduleEntry* shown(nk_messageSetSchedulesReq const& set, unsigned short display,
                               long long now) {
  nk_messageSchedule* running = nullptr;
  for (unsigned int i = 0; i < set.count(); ++i) {
    auto* const each = set.getSchedule(i);
    bool const runs = each->showOnLogicalDisplay() == display && each->startTime() <= now &&
                      !each->scheduleExpired(now);
    if (runs && (running == nullptr || each->startTime() >= running->startTime())) running = each;
  }
  if (running == nullptr) return nullptr;
  // Not negative, and unsigned it cannot overflow.
  auto second =
      static_cast<unsigned long long>(now) - static_cast<unsigned long long>(running->startTime());
  auto const pass = running->overallDuration();
  if (running->loopSchedule() != 0 && pass != 0) second %= pass;
  nk_messageScheduleEntry* entry = nullptr;
  for (unsigned int i = 0; i < running->count(); ++i) {
    entry = running->getScheduleEntry(i);
    if (second < entry->duration()) break;
    second -= entry->duration();
  }
  return entry;  // without a loop, the last one stays until the schedule expires
}

// Draws what display 0 shows now, if that is another image than before.
void tPanel::draw() {
  auto const* const entry = shown(m_schedules, 0, tTime::now());
  auto const uid = entry != nullptr ? entry->imageId() : 0;
  if (uid == m_drawn || (uid != 0 && !m_images.contains(uid))) return;
  m_drawn = uid;
  std::printf("shows image %llu\n", uid);
  std::fflush(stdout);
}

void drawEachSecond(tPanel& panel, asio::steady_timer& timer) {
  panel.draw();
  timer.expires_after(std::chrono::seconds(1));
  timer.async_wait([&](std::error_code cancelled) {
    if (!cancelled) drawEachSecond(panel, timer);
  });
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

  tCompression::setMaxDecodedSize(mostContent);
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
      panel.draw();
      if (link.finished()) asio::post(io, sweep);
    });
  });
  std::printf("ready: %s\n", listener.url().text().c_str());
  std::fflush(stdout);
  asio::steady_timer timer(io);
  drawEachSecond(panel, timer);
  io.run();
}
