#include "tools/nkdevice/panel.h"

#include <algorithm>
#include <string>

#include "tools/common/messages.h"
#include "tools/common/program.h"

namespace {

struct tAnswerRow {
  nk_message::teType type;
  tAnswerFunction answer;
};

// What the panel answers. Each function lives in the file of its area.
constexpr tAnswerRow answers[] = {
    {nk_message::TIME, answerTime},
    {nk_message::SHUTDOWN, answerShutdown},
    {nk_message::GENERIC_REQ, answerGeneric},
};

}  // namespace

tPanel::tPanel(bool verbose, std::function<void()> shutDown)
    : m_verbose(verbose), m_shutDown(std::move(shutDown)) {}

void tPanel::receive(unsigned int source, tBlob& content) {
  auto const type = nk_tools::messageType(content);
  auto const row = std::find_if(std::begin(answers), std::end(answers),
                                [type](auto const& each) { return each.type == type; });
  auto const request = row == std::end(answers) ? nullptr : nk_tools::readMessage(content);
  if (m_verbose) {
    nk_tools::say(std::string(request ? "request " : "no answer to request ") +
                  nk_message::typeName(type).c_str() + " (type " + std::to_string(type) + ", " +
                  std::to_string(content.size()) + " bytes) from " + std::to_string(source));
  }
  nk_serializer answer;
  if (request) row->answer(*this, *request, answer);
  content.swap(answer);
}

void tPanel::receiveFor(unsigned int source, tBlob* content, void* context) {
  static_cast<tPanel*>(context)->receive(source, *content);
}
