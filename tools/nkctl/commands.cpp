#include "tools/nkctl/commands.h"

#include <cstdio>
#include <string>

#include "tools/common/messages.h"

std::span<tCommand const> commands() {
  static constexpr tCommand rows[] = {
      {"time", "Send the station's clock, print the panel's", declareTime},
      {"shutdown", "Order the panel to shut down", declareShutdown},
      {"generic", "Send two free texts, print the two that come back", declareGeneric},
      {"raw", "Send the content of a file as it is, print the answer", declareRaw},
  };
  return rows;
}

nk_tools::teExit askAndPrint(tStation& station, nk_message& request, nk_message::teType expected) {
  nk_serializer content;
  tBlob answer;
  request.serializeMsg(&content);
  if (auto const status = station.ask(content, answer)) return status;
  if (auto const status = printAnswer(answer)) return status;
  auto const type = nk_tools::messageType(answer);
  if (type == expected) return nk_tools::STATUS_OK;
  nk_tools::say(std::string("expected ") + nk_message::typeName(expected).c_str() +
                " for an answer, not type " + std::to_string(type));
  return nk_tools::STATUS_PROTOCOL;
}

nk_tools::teExit printAnswer(tBlob& answer) {
  auto const json = nk_tools::messageJson(answer);
  std::fwrite(json.c_str(), 1, json.length(), stdout);
  std::fputc('\n', stdout);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return nk_tools::STATUS_OK;
  nk_tools::say("cannot write to standard output");
  return nk_tools::STATUS_OTHER;
}
