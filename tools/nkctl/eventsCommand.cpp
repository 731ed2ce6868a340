#include <CLI/App.hpp>
#include <algorithm>
#include <map>

#include "nkProtocol/eventMessages.h"
#include "tools/common/moment.h"
#include "tools/common/options.h"
#include "tools/nkctl/stateCommands.h"

namespace {

using tEvents = nk_messageEventsRsp;

// By number of the criterion.
constexpr char const* sorts[] = {"time-first-desc", "time-first-asc", "time-last-desc",
                                 "time-last-asc",   "id-desc",        "id-asc"};

struct tArguments {
  std::string sort;
  bool follow = false;
  std::chrono::milliseconds interval{1000};
};

// How many details of one event are shown: a peer may send millions of them.
constexpr unsigned int mostDetails = 100;

// Adds the texts of the sub-events; those without text are only counted.
void fillDetails(tTable& table, nk_messageEvent& event) {
  unsigned int shown = 0, more = 0, empty = 0;
  auto const row = [&](std::string const& words) {
    table.add({"", "", "", "", "", "", "  " + words});
  };
  for (unsigned int i = 0; i < event.subEventCount(); ++i) {
    auto const detail = event.subEvent(i);
    if (detail.empty()) {
      ++empty;
    } else if (shown == mostDetails) {
      ++more;
    } else {
      row(text(detail));
      ++shown;
    }
  }
  if (more != 0) row("and " + std::to_string(more) + " more");
  if (empty != 0) row(std::to_string(empty) + " sub-events without text");
}

void fill(tTable& table, tEvents const& events) {
  for (unsigned int i = 0; i < events.count(); ++i) {
    auto& one = *events.getEvent(i);
    table.add({std::to_string(one.id()), momentText(one.timeFirst()), momentText(one.timeLast()),
               std::to_string(one.occurence()), std::to_string(one.category()),
               std::to_string(one.type()), text(one.eventMessage()), text(one.refImage())},
              tEvents::categoryColor(one.category()));
    fillDetails(table, one);
  }
}

// Leaves the events that are not in `seen`, occurrences by id; then that is all that came.
void keepNews(tEvents& events, std::map<unsigned int, unsigned int>& seen) {
  tEvents news(events.version(), nullptr, nullptr);
  std::map<unsigned int, unsigned int> all;
  for (unsigned int i = 0; i < events.count(); ++i) {
    auto* const one = events.getEvent(i);
    auto const known = seen.find(one->id());
    if (known == seen.end() || known->second != one->occurence()) news.addEvent(one);
    all[one->id()] = one->occurence();
  }
  seen.swap(all);
  events.setFrom(news);
}

// Prints the events once, or for ever what is new among them.
nk_tools::teExit printEvents(tStation& station, tOutput& output, tArguments const& arguments) {
  auto const sort = std::find(std::begin(sorts), std::end(sorts), arguments.sort);
  if (sort == std::end(sorts) && !arguments.sort.empty())
    return refuse("--sort " + arguments.sort + " is not one of the six orders");
  std::map<unsigned int, unsigned int> seen;
  tTable table;
  table.add({"id", "first (UTC)", "last (UTC)", "times", "category", "type", "event", "image"});
  for (bool first = true;; first = false) {
    nk_messageEventsReq request(askedVersion);
    std::unique_ptr<nk_message> answer;
    if (auto const status = askFor(station, output, request, nk_message::EVENTS_RSP, answer))
      return status;
    auto& events = static_cast<tEvents&>(*answer);
    if (arguments.follow) keepNews(events, seen);
    events.sort(tEvents::teSortCriteria(sort - std::begin(sorts)));  // past the last: as they are
    fill(table, events);
    if (first || events.count() != 0) {
      output.answer(events);
      output.verdict("answered");
      if (auto const status = output.show(table)) return status;
      if (!arguments.follow) return nk_tools::STATUS_OK;
      if (auto const status = output.nextObject()) return status;
    }
    if (auto const status = station.pause(arguments.interval)) return status;
  }
}

}  // namespace

tRun declareEvents(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  std::string help = "One of";
  for (char const* const each : sorts) help.append(" ").append(each);
  addOption(app, "--sort", arguments->sort, "ORDER", (help + " [as the panel has them]").c_str());
  addFlag(app, "--follow", arguments->follow, "Go on asking, print what is new");
  nk_tools::addSecondsOption(app, "--interval", arguments->interval, 0.01,
                             "From one look to the next [1]");
  return [arguments](tStation& station, tOutput& output) {
    return printEvents(station, output, *arguments);
  };
}
