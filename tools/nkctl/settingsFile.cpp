#include "tools/nkctl/settingsFile.h"

#include <cerrno>
#include <cstdio>
#include <map>
#include <system_error>
#include <unordered_set>

#include "tools/common/jsonShape.h"
#include "tools/common/moment.h"
#include "tools/nkctl/imageFile.h"

namespace {

constexpr bool required = true;
using tUid = unsigned long long;

constexpr tJsonField slotFields[] = {jsonText("name"), jsonNumber<unsigned int>("start", required),
                                     jsonNumber<unsigned int>("stop", required),
                                     jsonNumber<unsigned int>("activity")};
// The ids below 10 are reserved: whoever reads them gives the frame another one.
constexpr tJsonField frameFields[] = {jsonText("name"),
                                      jsonNumber<unsigned short>("left"),
                                      jsonNumber<unsigned short>("top"),
                                      jsonNumber<unsigned short>("width", required),
                                      jsonNumber<unsigned short>("height", required),
                                      jsonNumber<unsigned short>("id", required, 10),
                                      jsonNumber<unsigned short>("logDisp"),
                                      jsonNumber<unsigned short>("realtimeTimeout")};
constexpr tJsonField configFields[] = {
    jsonText("action", required),
    jsonText("type", required),
    jsonNumber<int>("tv", required, 1),
    jsonNumber<unsigned int>("updateTime"),
    jsonNumber<signed char>("minUpdateTemp"),
    jsonNumber<unsigned char>("balanceTime"),
    jsonNumber<signed char>("updateTemp"),
    jsonNumber<unsigned char>("opMode"),
    jsonNumber<unsigned char>("heatMode"),
    jsonNumber<unsigned short>("curDispSwCfg"),
    jsonNumber<unsigned short>("defaultLogicalDisplay"),
    jsonNumber<unsigned short>("slideshowInterval_sec"),
    {"sleepUserEna", JSON_FLAG},
    {.key = "timeslots", .kind = JSON_LIST, .element = slotFields},
    jsonText("deviceName"),
    {.key = "frames", .kind = JSON_LIST, .element = frameFields}};

constexpr tJsonField entryFields[] = {jsonNumber<tUid>("uid", required), jsonText("name"),
                                      jsonNumber<unsigned int>("duration", required),
                                      jsonNumber<tUid>("imageUid"), jsonText("image")};
constexpr tJsonField scheduleFields[] = {
    jsonNumber<tUid>("uid", required),
    jsonText("name"),
    {"startTime", JSON_MOMENT, required},
    {"stopTime", JSON_MOMENT},
    jsonNumber<unsigned int>("flags"),
    jsonNumber<unsigned short>("showOnLogicalDisplay", required),
    {.key = "entries", .kind = JSON_LIST, .required = required, .element = entryFields}};
constexpr tJsonField setFields[] = {
    {.key = "schedules", .kind = JSON_LIST, .required = required, .element = scheduleFields}};

long long moment(tJson const& json, char const* key) {
  auto const written = json.getString(key);
  long long seconds = json.getInt(key, 0);
  if (!written.empty()) parseMoment(written.c_str(), seconds);
  return seconds;
}

unsigned int number(tJson const& json, char const* key) {
  return static_cast<unsigned int>(json.getInt(key, 0));
}

tUid uid(tJson const& json, char const* key) { return static_cast<tUid>(json.getInt(key, 0)); }

}  // namespace

std::string readConfigFile(std::string const& name, nk_messageSetConfigReq& config) {
  tJson json;
  auto problem = readShaped(name, configFields, json);
  if (!problem.empty()) return problem;
  if (!config.serializeFromJson(&json))
    return name + R"(: is no configuration, which has "action":"config" and "type":"request")";
  if (config.frm_count() != json.getArraySize("frames")) return name + ": two frames have one id";
  return {};
}

std::string writeConfigFile(std::string const& name, nk_messageSetConfigReq& config) {
  tJson json;
  config.serializeToJson(&json);
  auto const content = json.getJson(true) + "\n";
  bool const toOutput = name == "-";
  std::FILE* const file = toOutput ? stdout : std::fopen(name.c_str(), "wx");
  if (file == nullptr) return name + ": " + std::generic_category().message(errno);
  bool written = std::fwrite(content.c_str(), 1, content.length(), file) == content.length();
  written = (toOutput ? std::fflush(file) : std::fclose(file)) == 0 && written;
  if (written) return {};
  auto problem =
      (toOutput ? "standard output: " : name + ": ") + std::generic_category().message(errno);
  if (!toOutput) std::remove(name.c_str());  // not to be in the way of the next try
  return problem;
}

namespace {

// Finds the uids of images that entries name by file.
class tImageNames {
 public:
  // Files are named as seen from where the set lies.
  explicit tImageNames(std::string const& setFile)
      : m_directory(setFile.substr(0, setFile.rfind('/') + 1)) {}

  // The uid of the image of `entry`; the empty text, or what is wrong with it.
  std::string find(tJson const& entry, tUid& imageUid) {
    bool const byUid = entry.has("imageUid");
    if (byUid == entry.has("image"))
      return byUid ? "has both imageUid and image" : "imageUid is missing";
    imageUid = uid(entry, "imageUid");
    if (byUid) return {};
    std::string const file(entry.getString("image").view());
    auto const [known, isNew] = m_uids.try_emplace(file, 0);
    if (isNew) {
      tImageFile image;
      auto const problem = readImageFile(file.starts_with('/') ? file : m_directory + file, image);
      if (!problem.empty()) return "image: " + problem;
      known->second = image.uid;
    }
    imageUid = known->second;
    return {};
  }

 private:
  std::string const m_directory;
  std::map<std::string, tUid> m_uids;
};

// Adds the entries of the schedule `json` to `schedule`.
std::string addEntries(tJson const& json, tImageNames& images, nk_messageSchedule& schedule) {
  tJson entry;
  for (unsigned int i = 0; json.getArrayObject("entries", i, entry); ++i) {
    tUid imageUid = 0;
    auto const problem = images.find(entry, imageUid);
    if (!problem.empty()) {
      bool const isName = problem.starts_with("has ");
      return "entries[" + std::to_string(i) + "]" + (isName ? " " : ".") + problem;
    }
    schedule.addScheduleEntry(uid(entry, "uid"), entry.getString("name"), number(entry, "duration"),
                              imageUid, false);
  }
  return {};
}

}  // namespace

std::string readSchedulesFile(std::string const& name, nk_messageSetSchedulesReq& set) {
  tJson json, one;
  auto problem = readShaped(name, setFields, json);
  if (!problem.empty()) return problem;
  std::unordered_set<tUid> uids;
  tImageNames images(name);
  for (unsigned int i = 0; json.getArrayObject("schedules", i, one); ++i) {
    auto const place = name + ": schedules[" + std::to_string(i) + "].";
    // The panel's merge tells schedules by their ids alone.
    if (!uids.insert(uid(one, "uid")).second) return place + "uid belongs to another one before it";
    auto* const schedule = set.addSchedule_(
        uid(one, "uid"), one.getString("name"), moment(one, "startTime"), moment(one, "stopTime"),
        number(one, "flags"), static_cast<unsigned short>(number(one, "showOnLogicalDisplay")));
    auto const wrong = addEntries(one, images, *schedule);
    if (!wrong.empty()) return place + wrong;
  }
  return {};
}
