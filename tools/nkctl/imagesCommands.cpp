#include <algorithm>
#include <charconv>
#include <set>

#include "tools/nkctl/imageFile.h"
#include "tools/nkctl/settingsFile.h"
#include "tools/nkctl/stateCommands.h"
#include "tools/nkctl/station.h"

namespace {

using tUid = unsigned long long;

struct tArguments {
  std::vector<std::string> words;
  std::string file;
  bool progress = false;
  bool json = false;
};

// Reads all files, and keeps of them what is small.
std::string readAll(std::vector<std::string> const& paths, std::vector<tImageFile>& images) {
  for (auto const& path : paths) {
    tImageFile image;
    auto problem = readImageFile(path, image);
    if (!problem.empty()) return problem;
    image.content.release();
    auto const same = std::find_if(images.begin(), images.end(),
                                   [&](auto const& each) { return each.uid == image.uid; });
    if (same != images.end()) return path + " has the same uid as " + same->path;
    images.push_back(std::move(image));
  }
  return {};
}

nk_tools::teExit askForState(tStation& station, std::unique_ptr<nk_messageStateRsp>& state) {
  nk_messageStateReq request(askedVersion);
  return askForState(station, request, state);
}

nk_tools::teExit sendFiles(tStation& station, tArguments const& arguments) {
  std::vector<tImageFile> images;
  auto const problem = readAll(arguments.words, images);
  if (!problem.empty()) return refuse(problem);
  for (auto const& each : images) {
    tImageFile image;
    auto const changed = readImageFile(each.path, image);
    if (!changed.empty() || image.uid != each.uid)
      return refuse(changed.empty() ? each.path + " has just changed" : changed);
    if (auto const status = sendImage(station, image, arguments.progress)) return status;
  }
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, state)) return status;
  tTable table;
  table.add({"image", "name", "result"});
  bool allThere = true;
  for (auto const& image : images) {
    bool const there = state->imageUidPresent(image.uid);
    allThere = allThere && there;
    table.add({std::to_string(image.uid), image.name, there ? "held" : "not held, see events"});
  }
  if (auto const status = print(arguments.json, *state, table)) return status;
  return allThere ? nk_tools::STATUS_OK : nk_tools::STATUS_DIFFERS;
}

nk_tools::teExit printMissing(tStation& station, tArguments const& arguments) {
  nk_messageSetSchedulesReq set(askedVersion);
  auto const problem = readSchedulesFile(arguments.file, set);
  if (!problem.empty()) return refuse(problem);
  tUidList list;
  set.getRequiredImageUidList(list);
  std::set<tUid> const needed(list.begin(), list.end());
  list.assign(needed.begin(), needed.end());
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, state)) return status;
  bool const complete = state->imageUidsPresent(list);
  std::set<tUid> const held(state->images().begin(), state->images().end());
  tTable table;
  table.add({"image", "needed by"});
  for (unsigned int i = 0; !complete && i < set.count(); ++i) {
    auto const& schedule = *set.getSchedule(i);
    for (unsigned int k = 0; k < schedule.count(); ++k) {
      auto const& entry = *schedule.getScheduleEntry(k);
      if (held.contains(entry.imageId())) continue;
      table.add(
          {std::to_string(entry.imageId()), text(schedule.name()) + ": " + text(entry.name())});
    }
  }
  auto const count = std::to_string(needed.size());
  if (complete) {
    table = {};
    table.add({"none missing of " + count});
  }
  if (auto const status = print(arguments.json, *state, table)) return status;
  return complete ? nk_tools::STATUS_OK : nk_tools::STATUS_DIFFERS;
}

nk_tools::teExit removeByUid(tStation& station, tArguments const& arguments) {
  std::vector<tUid> uids;
  for (auto const& word : arguments.words) {
    auto const* const end = word.data() + word.size();
    auto const read = std::from_chars(word.data(), end, uids.emplace_back());
    if (read.ec != std::errc() || read.ptr != end) return refuse(word + " is no uid of an image");
  }
  if (auto const status = removeImages(station, uids)) return status;
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, state)) return status;
  tTable table;
  table.add({"image", "result"});
  bool allGone = true;
  for (auto const uid : uids) {
    bool const there = state->imageUidPresent(uid);
    allGone = allGone && !there;
    table.add({std::to_string(uid), there ? "still held" : "gone"});
  }
  if (auto const status = print(arguments.json, *state, table)) return status;
  return allGone ? nk_tools::STATUS_OK : nk_tools::STATUS_DIFFERS;
}

tRun declareSend(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "FILE", arguments->words, "The images");
  addFlag(app, "--progress", arguments->progress, "Tell on standard error how it goes on");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) { return sendFiles(station, *arguments); };
}

tRun declareMissing(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, "The schedules, - for standard input");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) { return printMissing(station, *arguments); };
}

tRun declareRemove(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "UID", arguments->words, "The images");
  addJsonFlag(app, arguments->json);
  return [arguments](tStation& station) { return removeByUid(station, *arguments); };
}

tRun declareUid(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "FILE", arguments->words, "The images");
  return [arguments](tStation&) {
    std::vector<tImageFile> images;
    auto const problem = readAll(arguments->words, images);
    if (!problem.empty()) return refuse(problem);
    tTable table;
    for (auto const& image : images) table.add({std::to_string(image.uid), image.path});
    return print(table);
  };
}

}  // namespace

tRun declareImages(CLI::App& app) {
  static constexpr tCommand rows[] = {
      {"send", "Send images, see whether the panel holds them", declareSend},
      {"missing", "Tell which images of a set of schedules the panel lacks", declareMissing},
      {"remove", "Have the panel drop images", declareRemove},
      {"uid", "Tell the uids that files have as images", declareUid},
  };
  return declareFamily(app, rows);
}
