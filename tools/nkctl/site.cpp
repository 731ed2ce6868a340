#include "tools/nkctl/site.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "tools/nkctl/settingsFile.h"
#include "tools/nkctl/stateCommands.h"

namespace {

namespace fs = std::filesystem;

// Reads a file of settings into a fresh `message` if it is there.
template <class Message>
std::string readIfThere(std::string const& name, std::string (*read)(std::string const&, Message&),
                        std::unique_ptr<Message>& message) {
  std::error_code problem;
  // Trouble with looking is trouble with reading, and so is a link that leads nowhere.
  if (fs::symlink_status(name, problem).type() == fs::file_type::not_found) return {};
  message = std::make_unique<Message>(newestVersion);
  return read(name, *message);
}

std::string readImages(std::string const& directory, tSite& site) {
  std::error_code problem;
  site.hasImages = fs::exists(directory, problem);
  if (!site.hasImages && !problem) return {};
  std::set<std::string> paths;  // in order, so that every run says the same
  for (fs::directory_iterator each(directory, problem), end; !problem && each != end;
       each.increment(problem)) {
    if (!each->path().filename().string().starts_with('.')) paths.insert(each->path().string());
  }
  if (problem) return directory + ": " + problem.message();
  for (auto const& path : paths) {
    bool const isDirectory = fs::is_directory(path, problem);
    if (isDirectory || !hasImageEnding(path)) {
      site.passedOver.push_back(
          path + " is passed over: it " +
          (isDirectory ? "is a directory" : "ends in none of" + imageEndings()));
      continue;
    }
    tImageFile image;
    auto wrong = readImageFile(path, image);
    if (!wrong.empty()) return wrong;
    image.content.release();
    auto const [before, isNew] = site.images.try_emplace(image.uid, image);
    if (!isNew) return path + " has the same uid as " + before->second.name;
  }
  return {};
}

}  // namespace

std::string readSite(std::string const& directory, tSite& site) {
  std::error_code unreadable;
  bool const isDirectory = fs::is_directory(directory, unreadable);
  if (unreadable) return directory + ": " + unreadable.message();
  if (!isDirectory)
    return directory + ": " + std::make_error_code(std::errc::not_a_directory).message();
  auto problem = readIfThere(directory + "/config.json", readConfigFile, site.config);
  if (problem.empty())
    problem = readIfThere(directory + "/schedules.json", readSchedulesFile, site.schedules);
  if (problem.empty()) problem = readImages(directory + "/images", site);
  if (problem.empty() && !site.config && !site.schedules && !site.hasImages)
    problem = directory + ": holds neither config.json nor schedules.json nor images/";
  return problem;
}

std::vector<std::string> siteWarnings(tSite const& site) {
  auto warnings = site.passedOver;
  if (!site.schedules || !site.hasImages) return warnings;
  tUidList list;
  site.schedules->getRequiredImageUidList(list);
  std::set<unsigned long long> const needed(list.begin(), list.end());
  for (auto const uid : needed) {
    if (!site.images.contains(uid))
      warnings.push_back("the schedules need image " + std::to_string(uid) +
                         ", which is not in the directory");
  }
  return warnings;
}
