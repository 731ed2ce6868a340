#include "tools/nkctl/settingsFile.h"

#include <cstdio>
#include <limits>
#include <unordered_set>

#include "nkSupport/tJson.h"
#include "tools/common/files.h"
#include "tools/nkctl/jsonShape.h"
#include "tools/nkctl/moment.h"

namespace {

template <class Number>
constexpr tJsonField number(
    char const* key, bool required = false,
    long long least = static_cast<long long>(+std::numeric_limits<Number>::min())) {
  return {key, JSON_NUMBER, required, least, std::numeric_limits<Number>::max()};
}
constexpr tJsonField text(char const* key, bool required = false) {
  return {key, JSON_TEXT, required};
}
constexpr bool required = true;
using tUid = unsigned long long;

constexpr tJsonField slotFields[] = {text("name"), number<unsigned int>("start", required),
                                     number<unsigned int>("stop", required),
                                     number<unsigned int>("activity")};
// The ids below 10 are reserved: whoever reads them gives the frame another one.
constexpr tJsonField frameFields[] = {text("name"),
                                      number<unsigned short>("left"),
                                      number<unsigned short>("top"),
                                      number<unsigned short>("width", required),
                                      number<unsigned short>("height", required),
                                      number<unsigned short>("id", required, 10),
                                      number<unsigned short>("logDisp"),
                                      number<unsigned short>("realtimeTimeout")};
constexpr tJsonField configFields[] = {
    text("action", required),
    text("type", required),
    number<int>("tv", required, 1),
    number<unsigned int>("updateTime"),
    number<signed char>("minUpdateTemp"),
    number<unsigned char>("balanceTime"),
    number<signed char>("updateTemp"),
    number<unsigned char>("opMode"),
    number<unsigned char>("heatMode"),
    number<unsigned short>("curDispSwCfg"),
    number<unsigned short>("defaultLogicalDisplay"),
    number<unsigned short>("slideshowInterval_sec"),
    {"sleepUserEna", JSON_FLAG},
    {.key = "timeslots", .kind = JSON_LIST, .element = slotFields},
    text("deviceName"),
    {.key = "frames", .kind = JSON_LIST, .element = frameFields}};

constexpr tJsonField entryFields[] = {number<tUid>("uid", required), text("name"),
                                      number<unsigned int>("duration", required),
                                      number<tUid>("imageUid", required)};
constexpr tJsonField scheduleFields[] = {
    number<tUid>("uid", required),
    text("name"),
    {"startTime", JSON_MOMENT, required},
    {"stopTime", JSON_MOMENT},
    number<unsigned int>("flags"),
    number<unsigned short>("showOnLogicalDisplay", required),
    {.key = "entries", .kind = JSON_LIST, .required = required, .element = entryFields}};
constexpr tJsonField setFields[] = {
    {.key = "schedules", .kind = JSON_LIST, .required = required, .element = scheduleFields}};

std::string readShaped(std::string const& name, std::span<tJsonField const> fields, tJson& json) {
  tBlob bytes;
  if (char const* const problem = nk_tools::readFile(name, bytes)) return name + " " + problem;
  std::string_view const content(reinterpret_cast<char const*>(bytes.data()), bytes.size());
  auto const problem = shapeProblem(content, fields);
  if (!problem.empty()) return name + ": " + problem;
  return json.parse(content) ? std::string() : name + " needs too much memory";
}

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
  if (file == nullptr) return name + " is there already or cannot be created";
  bool written = std::fwrite(content.c_str(), 1, content.length(), file) == content.length();
  written = (toOutput ? std::fflush(file) : std::fclose(file)) == 0 && written;
  return written ? std::string() : name + " cannot be written";
}

std::string readSchedulesFile(std::string const& name, nk_messageSetSchedulesReq& set) {
  tJson json, one, entry;
  auto problem = readShaped(name, setFields, json);
  if (!problem.empty()) return problem;
  std::unordered_set<tUid> uids;
  for (unsigned int i = 0; json.getArrayObject("schedules", i, one); ++i) {
    // The panel's merge tells schedules by their ids alone.
    if (!uids.insert(uid(one, "uid")).second)
      return name + ": schedules[" + std::to_string(i) + "].uid belongs to another one before it";
    auto* const schedule = set.addSchedule_(
        uid(one, "uid"), one.getString("name"), moment(one, "startTime"), moment(one, "stopTime"),
        number(one, "flags"), static_cast<unsigned short>(number(one, "showOnLogicalDisplay")));
    for (unsigned int k = 0; one.getArrayObject("entries", k, entry); ++k) {
      schedule->addScheduleEntry(uid(entry, "uid"), entry.getString("name"),
                                 number(entry, "duration"), uid(entry, "imageUid"), false);
    }
  }
  return {};
}
