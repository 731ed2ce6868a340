#include <CLI/App.hpp>
#include <algorithm>
#include <map>
#include <utility>

#include "nkProtocol/eventMessages.h"
#include "tools/common/moment.h"
#include "tools/common/options.h"
#include "tools/nkctl/stateCommands.h"

namespace {

using tEvents = nk_messageEventsRsp;

// By number of the criterion.
constexpr std::string_view sorts[] = {"time-first-desc", "time-first-asc", "time-last-desc",
                                      "time-last-asc",   "id-desc",        "id-asc"};

struct tArguments {
  std::string sort;
  bool follow = false;
  bool reconnect = false;
  std::chrono::milliseconds interval{1000};
};

// How long to wait before another try with a link that was lost; each time twice as long.
constexpr std::chrono::milliseconds firstPause{1000}, longestPause{30000};

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

class tEventPrinter {
 public:
  tEventPrinter(tStation& station, tOutput& output, tArguments const& arguments)
      : m_station(station), m_output(output), m_arguments(arguments) {
    m_table.add({"id", "first (UTC)", "last (UTC)", "times", "category", "type", "event", "image"});
  }

  nk_tools::teExit run() {
    if (!m_arguments.follow) return look();
    for (;;) {
      auto status = look();
      if (status == nk_tools::STATUS_OK) {
        comeBack();
        status = m_station.pause(m_arguments.interval);
      }
      if (isLinkTrouble(status) && m_arguments.reconnect) status = waitForNext();
      if (status != nk_tools::STATUS_OK) return status;
    }
  }

 private:
  // Asks once and prints what is new, the first time all.
  nk_tools::teExit look() {
    nk_messageEventsReq request(m_station.version());
    std::unique_ptr<nk_message> answer;
    if (auto const status = askFor(m_station, m_output, request, nk_message::EVENTS_RSP, answer))
      return status;
    auto& events = static_cast<tEvents&>(*answer);
    if (m_arguments.follow) keepNews(events, m_seen);
    auto const sort = std::find(std::begin(sorts), std::end(sorts), m_arguments.sort);
    events.sort(tEvents::teSortCriteria(sort - std::begin(sorts)));  // past the last: as they are
    fill(m_table, events);
    if (!m_first && events.count() == 0) return nk_tools::STATUS_OK;
    m_first = false;
    m_output.answer(events);
    m_output.verdict("answered");
    if (auto const status = m_output.show(m_table)) return status;
    return m_arguments.follow ? m_output.nextObject() : nk_tools::STATUS_OK;
  }

  static bool isLinkTrouble(nk_tools::teExit status) {
    return status == nk_tools::STATUS_LINK || status == nk_tools::STATUS_TIMEOUT ||
           status == nk_tools::STATUS_PROTOCOL;
  }

  // The panel was lost: says so once, and lets time pass.
  nk_tools::teExit waitForNext() {
    if (!std::exchange(m_lost, true)) nk_tools::say(m_station.name() + ": lost; trying again");
    m_station.setQuiet(true);
    m_station.drop();
    auto const pause = m_pause;
    m_pause = std::min(2 * m_pause, longestPause);
    return m_station.pause(pause);
  }

  void comeBack() {
    if (!std::exchange(m_lost, false)) return;
    m_station.setQuiet(false);
    m_pause = firstPause;
    nk_tools::say(m_station.name() + ": answers again");
  }

  tStation& m_station;
  tOutput& m_output;
  tArguments const& m_arguments;
  tTable m_table;
  std::map<unsigned int, unsigned int> m_seen;
  std::chrono::milliseconds m_pause = firstPause;
  bool m_first = true;
  bool m_lost = false;
};

std::string sortKinds() {
  std::string kinds = "ORDER:{";
  for (auto const each : sorts) kinds.append(each).append(each == std::end(sorts)[-1] ? "}" : ",");
  return kinds;
}

std::string checkSort(std::string const& sort) {
  bool const known = std::find(std::begin(sorts), std::end(sorts), sort) != std::end(sorts);
  return known ? "" : "\"" + sort + "\" is none of " + sortKinds().substr(6);
}

}  // namespace

tRun declareEvents(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  app.add_option("--sort", arguments->sort, "The order [as the panel has them]")
      ->type_name(sortKinds())
      ->check(CLI::Validator(checkSort, "", ""));
  auto* const follow =
      app.add_flag("--follow", arguments->follow, "Go on asking, print what is new");
  nk_tools::addSecondsOption(app, "--interval", arguments->interval, 0.01,
                             "From one look to the next [1]")
      ->needs(follow);
  app.add_flag("--reconnect", arguments->reconnect, "Open the link again when it is lost")
      ->needs(follow);
  return [arguments](tStation& station, tOutput& output) {
    return tEventPrinter(station, output, *arguments).run();
  };
}
