#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "tools/common/moment.h"
#include "tools/nkctl/stateCommands.h"

namespace {

// Asks with `request` and tells the answer, for people as the table that `fill` makes of it.
template <class Answer, class Fill>
nk_tools::teExit report(tStation& station, tOutput& output, nk_message& request,
                        nk_message::teType expected, Fill fill) {
  std::unique_ptr<nk_message> answer;
  if (auto const status = askFor(station, output, request, expected, answer)) return status;
  tTable table;
  fill(static_cast<Answer&>(*answer), table);
  output.answer(*answer);
  output.verdict("answered");
  return output.show(table);
}

void fillStatistics(nk_messageStatisticsRsp const& totals, tTable& table) {
  char energy[32];
  std::snprintf(energy, sizeof energy, "%.3f Wh", totals.energyConsumption_Wh());
  table.add({"image updates", std::to_string(totals.imgUpdateCount())});
  table.add({"energy", energy});
  auto const extreme = [&](char const* what, short degrees, unsigned int when) {
    if (when == 0) return table.add({what, "not measured"});
    table.add({what, std::to_string(degrees) + " at " + momentText(when) + " UTC"});
  };
  extreme("lowest case temperature", totals.tempCaseMin(), totals.tempCaseMinTime());
  extreme("highest case temperature", totals.tempCaseMax(), totals.tempCaseMaxTime());
}

void fillDisplays(nk_messageGetDisplayConfigurationRsp& answer, tTable& table) {
  auto const current = [](bool yes) { return yes ? "current" : ""; };
  table.add({"display", text(answer.name()), "", "rotation " + std::to_string(answer.rot())});
  for (unsigned short i = 0; auto* const one = answer.getDisplayConfiguration(i); ++i) {
    table.add({"configuration", text(one->name()), std::to_string(one->id()), "", "",
               current(one->isCurrent() != 0)});
    for (unsigned short k = 0; auto* const part = one->getLogicalDisplay(k); ++k) {
      table.add({"  logical display", text(part->name()), std::to_string(part->id()),
                 std::to_string(part->pixelX()) + " x " + std::to_string(part->pixelY()),
                 "at " + std::to_string(part->left()) + "," + std::to_string(part->top()),
                 current(part->isCurrent())});
    }
  }
}

}  // namespace

tRun declareStatistics(CLI::App&) {
  return [](tStation& station, tOutput& output) {
    nk_messageStatisticsReq request(station.version());
    return report<nk_messageStatisticsRsp>(station, output, request, nk_message::STATISTICS_RSP,
                                           fillStatistics);
  };
}

tRun declareDisplay(CLI::App&) {
  return [](tStation& station, tOutput& output) {
    nk_messageGetDisplayConfigurationReq request(station.version());
    return report<nk_messageGetDisplayConfigurationRsp>(
        station, output, request, nk_message::GET_DISPLAY_CONFIGURATION_RSP, fillDisplays);
  };
}
