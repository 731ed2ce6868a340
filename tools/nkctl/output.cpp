#include "tools/nkctl/output.h"

#include <cstdio>

#include "tools/common/messages.h"
#include "tools/common/text.h"

namespace {

nk_tools::teExit print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (!text.ends_with('\n')) std::fputc('\n', stdout);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return nk_tools::STATUS_OK;
  return nk_tools::fail(nk_tools::STATUS_OTHER, "cannot write to standard output");
}

// The members of a JSON object, without the braces around them.
std::string inner(tJson const& json) {
  std::string text(json.getJson(false).view());
  return text.size() > 2 ? text.substr(1, text.size() - 2) : std::string();
}

}  // namespace

nk_tools::teExit tOutput::show(tTable& table) {
  return m_isJson ? nk_tools::STATUS_OK : print(table.text(coloursWanted()));
}

nk_tools::teExit tOutput::show(std::string_view text) {
  return m_isJson ? nk_tools::STATUS_OK : print(text);
}

void tOutput::nest(char const* key, tString const& json) {
  if (m_isJson && !json.empty())
    m_nested.append(",\"").append(key).append("\":").append(json.view());
}

void tOutput::answer(nk_message& message) {
  if (m_isJson) nest("answer", nk_tools::answerJson(message));
}

void tOutput::warn(std::string const& text) {
  nk_tools::say("warning: " + text);
  tStringList warnings;
  m_members.getStringArray("warnings", warnings);
  warnings.add(tString(std::string_view(text)));
  m_members.addStringArray("warnings", warnings);
}

nk_tools::teExit tOutput::verdict(char const* result, nk_tools::teExit status) {
  m_result = result;
  return status;
}

nk_tools::teExit tOutput::nextObject() {
  return m_isJson ? printObject(nk_tools::STATUS_OK) : nk_tools::STATUS_OK;
}

nk_tools::teExit tOutput::finish(nk_tools::teExit status) {
  bool const told = m_printed && status == nk_tools::STATUS_OK;
  if (!m_isJson || told) return status;
  auto const printed = printObject(status);
  return printed == nk_tools::STATUS_OK ? status : printed;
}

nk_tools::teExit tOutput::printObject(nk_tools::teExit status) {
  bool const failed = status != nk_tools::STATUS_OK && status != nk_tools::STATUS_DIFFERS;
  tJson head;
  if (m_station.link) head.addString("link", tString(std::string_view(m_station.link->text())));
  if (m_station.to != nk_basicTelegram::addressNone) head.addInt("to", m_station.to);
  head.addInt("status", status);
  head.addString("result", failed ? "failed" : m_result != nullptr ? m_result : "done");
  if (failed) {
    auto const& reason = nk_tools::failure();
    head.addString("error", reason.empty() ? tString(nk_tools::exitText(status))
                                           : tString(std::string_view(reason)));
  }
  auto line = "{" + inner(head);
  if (auto const own = inner(m_members); !own.empty()) line.append(",").append(own);
  line.append(m_nested).append("}");
  m_members.clear();
  m_nested.clear();
  m_result = nullptr;
  m_printed = true;
  return print(nk_tools::strictJson(line));
}
