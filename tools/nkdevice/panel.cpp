#include "tools/nkdevice/panel.h"

#include <algorithm>

#include "nkProtocol/basicTelegram.h"
#include "tools/nkdevice/displays.h"

namespace {

using tMostContent = unsigned int (*)(tLimits const& limits);

struct tAnswerRow {
  nk_message::teType type;
  tAnswerFunction answer;
  tMostContent most;        // bytes of content; what has more is refused unread
  tAnswerFunction refusal;  // what a refused request is answered with; null for nothing
};

constexpr tMostContent small = [](tLimits const& limits) { return limits.smallContent(); };
constexpr tMostContent config = [](tLimits const& limits) { return limits.configContent(); };
constexpr tMostContent schedules = [](tLimits const& limits) { return limits.schedulesContent(); };
constexpr tMostContent image = [](tLimits const& limits) { return limits.imageContent; };
constexpr tMostContent generic = [](tLimits const& limits) { return limits.genericContent; };

// What the panel answers. Each function lives in the file of its area.
constexpr tAnswerRow answers[] = {
    {nk_message::STATE_REQ, answerState, small, tellState},
    {nk_message::EVENTS_REQ, answerEvents, small, nullptr},
    {nk_message::SET_CONFIG_REQ, answerSetConfig, config, tellConfig},
    {nk_message::GET_DISPLAY_CONFIGURATION_REQ, answerDisplays, small, nullptr},
    {nk_message::SET_SCHEDULES_REQ, answerSetSchedules, schedules, tellSchedules},
    {nk_message::TIME, answerTime, small, nullptr},
    {nk_message::SHUTDOWN, answerShutdown, small, nullptr},
    {nk_message::IMAGE, answerImage, image, nullptr},
    {nk_message::STATISTICS_REQ, answerStatistics, small, nullptr},
    {nk_message::GENERIC_REQ, answerGeneric, generic, nullptr},
};

}  // namespace

tPanel::tPanel(tOptions const& options, std::function<void()> shutDown)
    : m_options(options),
      m_shutDown(std::move(shutDown)),
      m_store(options.state,
              [this](std::string const& what) { m_events.record(EVENT_STATE_TROUBLE, what); }),
      m_events(m_store),
      m_settings(m_store, m_options.limits),
      m_images(m_store, m_events, options.imageRoom),
      m_statistics(m_store, m_options.statistics),
      m_displays(tStore::storedVersion) {}

nk_tools::teExit tPanel::load() {
  if (m_options.displays.empty()) {
    setStandardDisplays(m_displays);
  } else {
    auto const problem = readDisplaysFile(m_options.displays, m_displays);
    if (!problem.empty()) {
      nk_tools::say(problem);
      return nk_tools::STATUS_USAGE;
    }
  }
  if (!m_store.open()) return nk_tools::STATUS_OTHER;
  m_events.load();
  m_events.record(EVENT_STARTED, "started");
  if (!m_settings.load()) {
    nk_tools::say("no memory for the settings");
    return nk_tools::STATUS_OTHER;
  }
  m_images.load();
  m_statistics.load();
  m_events.keep();
  return nk_tools::STATUS_OK;
}

bool tPanel::keep() {
  bool const kept = m_statistics.keep();
  return storeChanges() && kept;
}

void tPanel::keepChanges() {
  constexpr unsigned int callsPerMinute = 60 / keepInterval.count();
  if (++m_keepCalls % callsPerMinute == 0) {
    keep();
  } else {
    storeChanges();
  }
}

bool tPanel::storeChanges() {
  m_store.settle();
  m_settings.settle();
  m_images.settle();
  return m_events.keep();
}

void tPanel::receive(tAsker const& asker, tBlob& content) {
  m_asker = asker;
  auto const size = content.size();
  nk_tools::tContent request(std::move(content));
  content = tBlob();
  auto const row = std::find_if(std::begin(answers), std::end(answers),
                                [&](auto const& each) { return each.type == request.type; });
  bool const known = row != std::end(answers);
  if (m_options.verbose) {
    nk_tools::say(std::string(known ? "request " : "no answer to request ") +
                  nk_message::typeName(request.type).c_str() + " (type " +
                  std::to_string(request.type) + ", " + std::to_string(size) + " bytes) from " +
                  std::to_string(asker.station));
  }
  nk_serializer answer;
  // The engine makes empty content of what it cannot decompress.
  if (size == 0) m_events.record(EVENT_REQUEST_REFUSED, "a request cannot be decompressed");
  if (known && size > row->most(m_options.limits)) {
    m_events.record(EVENT_REQUEST_REFUSED, std::string(nk_message::typeName(request.type).c_str()) +
                                               " refused: more than " +
                                               std::to_string(row->most(m_options.limits)) +
                                               " bytes");
    if (row->refusal != nullptr) row->refusal(*this, request, answer);
  } else if (known) {
    row->answer(*this, request, answer);
  }
  content.swap(answer);
}

bool tPanel::mayChange(std::string const& what) {
  return allowed(m_options.permissions.mayChange(m_asker.station), what);
}

bool tPanel::mayShutDown() {
  return allowed(m_options.permissions.mayShutDown(m_asker.station), "shutdown");
}

bool tPanel::allowed(bool may, std::string const& what) {
  bool const named = m_asker.station != nk_basicTelegram::addressNone &&
                     m_asker.station != nk_basicTelegram::addressBroadcast;
  m_orderLines.say(
      what + " from " +
      (named ? "station " + std::to_string(m_asker.station) : "a station without address") + " (" +
      m_asker.peer + ")");
  if (!may)
    m_events.record(EVENT_REQUEST_REFUSED, what + " refused: that station may not order it");
  return may;
}
