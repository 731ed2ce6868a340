#include <algorithm>
#include <set>

#include "tools/common/messages.h"
#include "tools/nkctl/site.h"
#include "tools/nkctl/stateCommands.h"
#include "tools/nkctl/versions.h"

namespace {

using tUid = unsigned long long;

struct tArguments {
  std::string directory;
  bool dryRun = false;
  bool remove = false;
  bool progress = false;
};

bool tellsImages(nk_messageStateRsp const& state) {
  return state.version() >= nk_message::VERSION_1;
}

// The message in `version`, in place of the one that was read.
template <class Message, class Copy>
void translate(std::unique_ptr<Message>& message, nk_message::teVersion version, Copy copy) {
  if (!message || message->version() == version) return;
  auto other = std::make_unique<Message>(version);
  (other.get()->*copy)(message.get());
  message = std::move(other);
}

// How a panel differs from a directory.
struct tDifference {
  tDifference(tSite const& site, nk_messageStateRsp const& state, bool mayRemove)
      : removes(mayRemove) {
    auto const version = state.version();
    if (site.config) configChecksum = carriedChecksum(*site.config, version, state.csCfg());
    if (site.schedules) schedulesChecksum = site.schedules->checksum(version);
    config = site.config && configChecksum != state.csCfg();
    schedules = site.schedules && schedulesChecksum != state.csSched();
    if (!site.hasImages || !tellsImages(state)) return;
    std::set<tUid> const held(state.images().begin(), state.images().end());
    for (auto const& each : site.images) {
      if (!held.contains(each.first)) missing.push_back(each.first);
    }
    for (auto const uid : held) {
      if (!site.images.contains(uid)) surplus.push_back(uid);
    }
  }
  bool any() const {
    return config || schedules || !missing.empty() || (removes && !surplus.empty());
  }

  tString configChecksum, schedulesChecksum;
  bool config = false, schedules = false;
  std::vector<tUid> missing, surplus;
  bool removes;  // whether the panel is to drop what is surplus
};

class tSync {
 public:
  tSync(tStation& station, tOutput& output, tArguments const& arguments)
      : m_station(station), m_output(output), m_arguments(arguments) {}

  nk_tools::teExit run() {
    auto const problem = readSite(m_arguments.directory, m_site);
    if (!problem.empty()) return refuse(problem);
    for (auto const& warning : siteWarnings(m_site)) m_output.warn(warning);
    if (auto const status = meet()) return status;
    tDifference before(m_site, *m_state, m_arguments.remove);
    if (!tellsImages(*m_state))  // nobody can say which of them are there
      for (auto const& each : m_site.images) before.missing.push_back(each.first);
    if (!before.any()) return finish(before, "nothing to send");
    if (m_arguments.dryRun) return finish(before, "nothing was sent");
    if (auto const status = printComparison(before)) return status;
    return work(std::move(before));
  }

 private:
  // Sends what differs; again if the panel has ended a link on which requests were on their way.
  nk_tools::teExit work(tDifference difference) {
    constexpr unsigned int mostRounds = 3;
    m_station.lostRequests();
    for (unsigned int round = 1;; ++round) {
      if (auto const status = send(difference)) return status;
      if (auto const status = look()) return status;
      difference = tDifference(m_site, *m_state, m_arguments.remove);
      bool const lost = m_station.lostRequests();
      if (difference.any() && lost && round < mostRounds) continue;
      return finish(difference,
                    difference.any() ? "the panel still differs" : "the panel holds it all now");
    }
  }

  nk_tools::teExit look() { return askForState(m_station, m_output, m_state); }

  // The first look: finds the version that the panel speaks, unless one was asked for.
  nk_tools::teExit meet() {
    if (m_station.versionWasAskedFor()) {
      if (auto const status = look()) return status;
    } else {
      tBlob content;
      if (auto const status = askInAnyVersion(content)) return status;
      nk_tools::tContent const header{tBlob(content)};
      if (header.type == nk_message::STATE_RSP && header.version <= newestVersion)
        m_station.setVersion(header.version);
      std::string problem;
      auto answer = nk_tools::readAnswer(std::move(content), nk_message::STATE_RSP,
                                         m_station.version(), problem);
      if (!answer) return m_station.fail(nk_tools::STATUS_PROTOCOL, problem);
      m_state.reset(static_cast<nk_messageStateRsp*>(answer.release()));
    }
    adapt();
    return nk_tools::STATUS_OK;
  }

  // Asks in the newest version, and if that is not answered in the older ones: in all at once, or
  // one by one if the panel ends the link because of a version that it does not know.
  nk_tools::teExit askInAnyVersion(tBlob& answer) {
    limitAnswers();
    auto const request = [](unsigned int version) {
      nk_serializer content;
      nk_messageStateReq(nk_message::teVersion(version)).serializeMsg(&content);
      return tBlob(static_cast<tBlob&&>(content));
    };
    auto newest = request(newestVersion);
    auto const status = m_station.ask(newest, answer);
    bool const closes = m_station.linkWasLost();
    if (status != nk_tools::STATUS_TIMEOUT && !closes) return status;
    nk_tools::say("asking in the older versions of messages");
    std::vector<tBlob> older;
    for (unsigned int version = newestVersion; version-- != 0;) older.push_back(request(version));
    return closes ? askOneByOne(older, answer) : m_station.askFirst(older, answer);
  }

  nk_tools::teExit askOneByOne(std::vector<tBlob>& requests, tBlob& answer) {
    auto status = nk_tools::STATUS_OK;
    for (auto& request : requests) {
      m_station.drop();
      status = m_station.ask(request, answer);
      if (status != nk_tools::STATUS_TIMEOUT && !m_station.linkWasLost()) break;
    }
    return status;
  }

  // Brings the site into the panel's version, and says what that does not carry.
  void adapt() {
    auto const version = m_state->version();
    translate(m_site.config, version, &nk_messageSetConfigReq::setConfigFrom);
    translate(m_site.schedules, version, &nk_messageSetSchedulesReq::setSchedulesFrom);
    auto const warn = [this](std::string const& text) {
      if (!text.empty()) m_output.warn(text);
    };
    if (m_site.config) warn(leftBehind(*m_site.config, version));
    if (m_site.schedules) warn(leftBehind(*m_site.schedules, version));
    if (m_site.hasImages && !tellsImages(*m_state))
      warn(
          "messages of version 0 do not tell which images a panel holds: all are sent, none "
          "removed");
  }

  nk_tools::teExit finish(tDifference const& difference, char const* words) {
    addMembers(difference);
    if (auto const status = printComparison(difference)) return status;
    if (auto const status = m_output.show(words)) return status;
    return difference.any() ? m_output.verdict("different", nk_tools::STATUS_DIFFERS)
                            : m_output.verdict("same");
  }

  void addMembers(tDifference const& difference) {
    auto& members = m_output.members();
    if (m_site.config) members.addString("configuration", difference.config ? "different" : "same");
    if (m_site.schedules)
      members.addString("schedules", difference.schedules ? "different" : "same");
    auto const image = [&](tUid uid, std::string const& name, char const* result) {
      tJson json;
      json.addUInt64("uid", uid);
      if (!name.empty()) json.addString("name", tString(std::string_view(name)));
      json.addString("result", result);
      members.addToArray("images", std::move(json));
    };
    for (auto const& [uid, each] : m_site.images) image(uid, each.name, resultOf(uid));
    for (auto const uid : difference.surplus) image(uid, "", "surplus");
    m_output.answer(*m_state);
  }

  char const* resultOf(tUid image) const {
    if (!tellsImages(*m_state)) return "not told";
    return m_state->imageUidPresent(image) ? "same" : "missing";
  }

  nk_tools::teExit printComparison(tDifference const& difference) {
    tTable table;
    table.add({"", "directory", "panel", "result"});
    auto const settings = [&](char const* what, bool has, bool differs, tString const& own,
                              tString const& panel) {
      if (has) table.add({what, text(own), text(panel), differs ? "different" : "same"});
    };
    settings("configuration", m_site.config != nullptr, difference.config,
             difference.configChecksum, m_state->csCfg());
    settings("schedules", m_site.schedules != nullptr, difference.schedules,
             difference.schedulesChecksum, m_state->csSched());
    for (auto const& [uid, image] : m_site.images) {
      bool const held = m_state->imageUidPresent(uid);
      auto const panel = !tellsImages(*m_state) ? "" : held ? std::to_string(uid) : "none";
      table.add({"image", image.name, panel, resultOf(uid)});
    }
    for (auto const uid : difference.surplus)
      table.add({"image", "none", std::to_string(uid), "surplus"});
    return m_output.show(table);
  }

  // Images come before the schedules that show them, and go after those that showed them.
  nk_tools::teExit send(tDifference const& difference) {
    for (auto const uid : difference.missing) {
      auto const& known = m_site.images.at(uid);
      tImageFile image;
      auto const problem = readImageFile(known.path, image);
      if (!problem.empty() || image.uid != uid)
        return refuse(problem.empty() ? known.path + " has just changed" : problem);
      if (auto const status = sendImage(m_station, image, m_arguments.progress)) return status;
      if (auto const status = sent(known.name)) return status;
    }
    std::unique_ptr<nk_message> answer;
    if (difference.config) {
      if (auto const status =
              askFor(m_station, m_output, *m_site.config, nk_message::SET_CONFIG_RSP, answer))
        return status;
      if (auto const status = sent("the configuration")) return status;
    }
    if (difference.schedules) {
      if (auto const status = sendSchedules(m_station, m_output, *m_site.schedules,
                                            difference.schedulesChecksum, answer))
        return status;
      if (auto const status = sent("the schedules")) return status;
    }
    if (!difference.removes || difference.surplus.empty()) return nk_tools::STATUS_OK;
    if (auto const status = removeImages(m_station, difference.surplus)) return status;
    return m_output.show("removed " + std::to_string(difference.surplus.size()) + " images");
  }

  nk_tools::teExit sent(std::string const& what) {
    m_sent.add(tString(std::string_view(what)));
    m_output.members().addStringArray("sent", m_sent);  // known even if the rest fails
    return m_output.show("sent " + what);
  }

  tStation& m_station;
  tOutput& m_output;
  tArguments const& m_arguments;
  tSite m_site;
  tStringList m_sent;
  std::unique_ptr<nk_messageStateRsp> m_state;
};

}  // namespace

tRun declareSync(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "DIRECTORY", arguments->directory,
              "With config.json, schedules.json and images/, or some of them");
  addFlag(app, "--dry-run", arguments->dryRun, "Only say what differs");
  addFlag(app, "--remove", arguments->remove, "Have the panel drop images that DIRECTORY lacks");
  addFlag(app, "--progress", arguments->progress, "Tell on standard error how images go out");
  return [arguments](tStation& station, tOutput& output) {
    return tSync(station, output, *arguments).run();
  };
}
