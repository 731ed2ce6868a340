#include "tools/nkdevice/panel.h"

#include <algorithm>

#include "tools/common/program.h"

namespace {

struct tAnswerRow {
  nk_message::teType type;
  tAnswerFunction answer;
};

// What the panel answers. Each function lives in the file of its area.
constexpr tAnswerRow answers[] = {
    {nk_message::STATE_REQ, answerState},
    {nk_message::SET_CONFIG_REQ, answerSetConfig},
    {nk_message::SET_SCHEDULES_REQ, answerSetSchedules},
    {nk_message::TIME, answerTime},
    {nk_message::SHUTDOWN, answerShutdown},
    {nk_message::GENERIC_REQ, answerGeneric},
};

}  // namespace

tPanel::tPanel(tOptions const& options, std::function<void()> shutDown)
    : m_options(options),
      m_shutDown(std::move(shutDown)),
      m_store(options.state),
      m_settings(m_store) {}

bool tPanel::load() {
  if (!m_store.open()) return false;
  m_settings.load();
  return true;
}

void tPanel::receive(unsigned int source, tBlob& content) {
  nk_tools::tContent request(content);
  auto const row = std::find_if(std::begin(answers), std::end(answers),
                                [&](auto const& each) { return each.type == request.type; });
  bool const known = row != std::end(answers);
  if (m_options.verbose) {
    nk_tools::say(std::string(known ? "request " : "no answer to request ") +
                  nk_message::typeName(request.type).c_str() + " (type " +
                  std::to_string(request.type) + ", " + std::to_string(content.size()) +
                  " bytes) from " + std::to_string(source));
  }
  nk_serializer answer;
  if (known) row->answer(*this, request, answer);
  content.swap(answer);
}

void tPanel::receiveFor(unsigned int source, tBlob* content, void* context) {
  static_cast<tPanel*>(context)->receive(source, *content);
}
