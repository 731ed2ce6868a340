#include <algorithm>
#include <charconv>
#include <iterator>
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

// An image as it is told: a row of the table, and an element of "images".
void tell(tOutput& output, tTable& table, tUid uid, std::string const& name, char const* result) {
  std::vector<std::string> row{std::to_string(uid), name, result};
  tJson json;
  json.addUInt64("uid", uid);
  if (name.empty()) {
    row.erase(row.begin() + 1);
  } else {
    json.addString("name", tString(std::string_view(name)));
  }
  json.addString("result", result);
  output.members().addToArray("images", std::move(json));
  table.add(std::move(row));
}

nk_tools::teExit sendFiles(tStation& station, tOutput& output, tArguments const& arguments) {
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
  if (auto const status = askForState(station, output, state)) return status;
  tTable table;
  table.add({"image", "name", "result"});
  bool allThere = true;
  for (auto const& image : images) {
    bool const there = state->imageUidPresent(image.uid);
    allThere = allThere && there;
    tell(output, table, image.uid, image.name, there ? "held" : "not held, see events");
  }
  output.answer(*state);
  if (auto const status = output.show(table)) return status;
  return allThere ? output.verdict("held") : output.verdict("not held", nk_tools::STATUS_DIFFERS);
}

// Tells the entries of `set` that show images which are not in `held`.
void tellMissing(tOutput& output, tTable& table, nk_messageSetSchedulesReq const& set,
                 std::set<tUid> const& held) {
  table.add({"image", "needed by"});
  for (unsigned int i = 0; i < set.count(); ++i) {
    auto const& schedule = *set.getSchedule(i);
    for (unsigned int k = 0; k < schedule.count(); ++k) {
      auto const& entry = *schedule.getScheduleEntry(k);
      if (held.contains(entry.imageId())) continue;
      table.add(
          {std::to_string(entry.imageId()), text(schedule.name()) + ": " + text(entry.name())});
      tJson json;
      json.addUInt64("uid", entry.imageId());
      json.addString("schedule", schedule.name());
      json.addString("entry", entry.name());
      output.members().addToArray("missing", std::move(json));
    }
  }
}

nk_tools::teExit printMissing(tStation& station, tOutput& output, tArguments const& arguments) {
  nk_messageSetSchedulesReq set(newestVersion);
  auto const problem = readSchedulesFile(arguments.file, set);
  if (!problem.empty()) return refuse(problem);
  tUidList list;
  set.getRequiredImageUidList(list);
  std::set<tUid> const needed(list.begin(), list.end());
  list.assign(needed.begin(), needed.end());
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, output, state)) return status;
  bool const complete = state->imageUidsPresent(list);
  tTable table;
  if (complete) {
    table.add({"none missing of " + std::to_string(needed.size())});
  } else {
    tellMissing(output, table, set, {state->images().begin(), state->images().end()});
  }
  output.answer(*state);
  if (auto const status = output.show(table)) return status;
  return complete ? output.verdict("complete")
                  : output.verdict("missing", nk_tools::STATUS_DIFFERS);
}

// Reads the uids in `words`. The empty text, or what is wrong.
std::string readUids(std::vector<std::string> const& words, std::set<tUid>& uids) {
  for (auto const& word : words) {
    tUid uid = 0;
    auto const* const end = word.data() + word.size();
    auto const read = std::from_chars(word.data(), end, uid);
    if (read.ec != std::errc() || read.ptr != end) return word + " is no uid of an image";
    uids.insert(uid);
  }
  return {};
}

// What was not held is told as that: a uid that lost digits on its way is none of the panel's.
nk_tools::teExit removeByUid(tStation& station, tOutput& output, tArguments const& arguments) {
  std::set<tUid> uids;
  auto const problem = readUids(arguments.words, uids);
  if (!problem.empty()) return refuse(problem);
  std::unique_ptr<nk_messageStateRsp> state;
  if (auto const status = askForState(station, output, state)) return status;
  std::set<tUid> const before(state->images().begin(), state->images().end());
  std::vector<tUid> held;
  std::set_intersection(uids.begin(), uids.end(), before.begin(), before.end(),
                        std::back_inserter(held));
  if (!held.empty()) {
    if (auto const status = removeImages(station, held)) return status;
    if (auto const status = askForState(station, output, state)) return status;
  }
  tTable table;
  table.add({"image", "result"});
  bool allGone = held.size() == uids.size();
  for (auto const uid : uids) {
    bool const still = state->imageUidPresent(uid);
    allGone = allGone && !still;
    tell(output, table, uid, "",
         still                  ? "still held"
         : before.contains(uid) ? "gone"
                                : "was not held");
  }
  output.answer(*state);
  if (auto const status = output.show(table)) return status;
  return allGone ? output.verdict("gone") : output.verdict("different", nk_tools::STATUS_DIFFERS);
}

tRun declareSend(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "FILE", arguments->words, "The images");
  addFlag(app, "--progress", arguments->progress, "Tell on standard error how it goes on");
  return [arguments](tStation& station, tOutput& output) {
    return sendFiles(station, output, *arguments);
  };
}

tRun declareMissing(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArgument(app, "FILE", arguments->file, "The schedules, - for standard input");
  return [arguments](tStation& station, tOutput& output) {
    return printMissing(station, output, *arguments);
  };
}

tRun declareRemove(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "UID", arguments->words, "The images");
  return [arguments](tStation& station, tOutput& output) {
    return removeByUid(station, output, *arguments);
  };
}

tRun declareUid(CLI::App& app) {
  auto const arguments = std::make_shared<tArguments>();
  addArguments(app, "FILE", arguments->words, "The images");
  return [arguments](tStation&, tOutput& output) {
    std::vector<tImageFile> images;
    auto const problem = readAll(arguments->words, images);
    if (!problem.empty()) return refuse(problem);
    tTable table;
    for (auto const& image : images) {
      table.add({std::to_string(image.uid), image.path});
      tJson json;
      json.addUInt64("uid", image.uid);
      json.addString("path", tString(std::string_view(image.path)));
      output.members().addToArray("images", std::move(json));
    }
    return output.show(table);
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
