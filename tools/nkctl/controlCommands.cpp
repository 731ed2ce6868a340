#include "nkProtocol/controlMessages.h"
#include "tools/nkctl/commands.h"
#include "tools/nkctl/station.h"

tRun declareTime(CLI::App&) {
  return [](tStation& station) {
    nk_messageTime request(nk_message::VERSION_0);
    return askAndPrint(station, request, nk_message::TIME);
  };
}

tRun declareShutdown(CLI::App&) {
  return [](tStation& station) {
    nk_serializer content;
    nk_messageShutdown(nk_message::VERSION_0).serializeMsg(&content);
    return station.tell(content);
  };
}

tRun declareGeneric(CLI::App& app) {
  auto const texts = std::make_shared<std::pair<std::string, std::string>>();
  addArgument(app, "TEXT1", texts->first, "The first text");
  addArgument(app, "TEXT2", texts->second, "The second text");
  return [texts](tStation& station) {
    nk_messageGenericReq request(nk_message::VERSION_0, tString(std::string_view(texts->first)),
                                 tString(std::string_view(texts->second)));
    return askAndPrint(station, request, nk_message::GENERIC_RSP);
  };
}
