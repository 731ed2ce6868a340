#include "nkProtocol/controlMessages.h"
#include "tools/common/moment.h"
#include "tools/nkctl/commands.h"

tRun declareTime(CLI::App&) {
  return [](tStation& station, tOutput& output) {
    nk_messageTime request(station.version(nk_message::VERSION_0));
    std::unique_ptr<nk_message> answer;
    if (auto const status = askFor(station, output, request, nk_message::TIME, answer))
      return status;
    auto const seconds = static_cast<nk_messageTime const&>(*answer).currentTime;
    output.answer(*answer);
    output.verdict("answered");
    return output.show(momentText(seconds) + " UTC, " + std::to_string(seconds));
  };
}

tRun declareShutdown(CLI::App&) {
  return [](tStation& station, tOutput& output) {
    nk_serializer content;
    nk_messageShutdown(station.version(nk_message::VERSION_0)).serializeMsg(&content);
    if (auto const status = station.tell(content)) return status;
    return output.verdict("sent", station.awaitEnd());
  };
}

tRun declareGeneric(CLI::App& app) {
  auto const texts = std::make_shared<std::pair<std::string, std::string>>();
  addArgument(app, "TEXT1", texts->first, "The first text");
  addArgument(app, "TEXT2", texts->second, "The second text");
  return [texts](tStation& station, tOutput& output) {
    nk_messageGenericReq request(station.version(nk_message::VERSION_0),
                                 tString(std::string_view(texts->first)),
                                 tString(std::string_view(texts->second)));
    std::unique_ptr<nk_message> answer;
    if (auto const status = askFor(station, output, request, nk_message::GENERIC_RSP, answer))
      return status;
    auto const& response = static_cast<nk_messageGenericRsp const&>(*answer);
    output.answer(*answer);
    output.verdict("answered");
    tTable table;
    table.add({"text1", text(response.text1)});
    table.add({"text2", text(response.text2)});
    return output.show(table);
  };
}
