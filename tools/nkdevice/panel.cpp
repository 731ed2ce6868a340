#include "tools/nkdevice/panel.h"

#include <algorithm>

#include "nkProtocol/basicTelegram.h"
#include "tools/nkdevice/displays.h"

namespace {

struct tAnswerRow {
  nk_message::teType type;
  tAnswerFunction answer;
};

// What the panel answers. Each function lives in the file of its area.
constexpr tAnswerRow answers[] = {
    {nk_message::STATE_REQ, answerState},
    {nk_message::EVENTS_REQ, answerEvents},
    {nk_message::SET_CONFIG_REQ, answerSetConfig},
    {nk_message::GET_DISPLAY_CONFIGURATION_REQ, answerDisplays},
    {nk_message::SET_SCHEDULES_REQ, answerSetSchedules},
    {nk_message::TIME, answerTime},
    {nk_message::SHUTDOWN, answerShutdown},
    {nk_message::IMAGE, answerImage},
    {nk_message::STATISTICS_REQ, answerStatistics},
    {nk_message::GENERIC_REQ, answerGeneric},
};

}  // namespace

tPanel::tPanel(tOptions const& options, std::function<void()> shutDown)
    : m_options(options),
      m_shutDown(std::move(shutDown)),
      m_store(options.state,
              [this](std::string const& what) { m_events.record(EVENT_STATE_TROUBLE, what); }),
      m_events(m_store),
      m_settings(m_store),
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
  m_settings.load();
  m_images.load();
  m_statistics.load();
  m_events.keep();
  return nk_tools::STATUS_OK;
}

bool tPanel::keep() {
  bool const kept = m_statistics.keep();
  return m_events.keep() && kept;
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
  if (known) row->answer(*this, request, answer);
  m_events.keep();
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
  nk_tools::say(
      what + " from " +
      (named ? "station " + std::to_string(m_asker.station) : "a station without address") + " (" +
      m_asker.peer + ")");
  if (!may)
    m_events.record(EVENT_REQUEST_REFUSED, what + " refused: that station may not order it");
  return may;
}
