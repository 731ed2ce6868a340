#include "tools/nkdevice/displays.h"

#include "tools/common/jsonShape.h"

namespace {

constexpr bool required = true;

constexpr tJsonField displayFields[] = {jsonText("name"),
                                        jsonNumber<unsigned short>("id", required),
                                        jsonNumber<unsigned short>("w", required),
                                        jsonNumber<unsigned short>("h", required),
                                        jsonNumber<unsigned short>("l"),
                                        jsonNumber<unsigned short>("t")};
constexpr tJsonField configurationFields[] = {
    jsonText("name"),
    jsonNumber<unsigned short>("id", required),
    {.key = "logDisps", .kind = JSON_LIST, .element = displayFields}};
constexpr tJsonField fields[] = {jsonText("action", required),
                                 jsonText("type", required),
                                 jsonNumber<int>("tv", required, 1),
                                 jsonText("name"),
                                 jsonNumber<signed char>("rot"),
                                 {.key = "dispConfigs",
                                  .kind = JSON_LIST,
                                  .required = required,
                                  .element = configurationFields}};

}  // namespace

std::string readDisplaysFile(std::string const& name,
                             nk_messageGetDisplayConfigurationRsp& displays) {
  tJson json;
  auto problem = readShaped(name, fields, json);
  if (!problem.empty()) return problem;
  if (displays.serializeFromJson(&json)) return {};
  return name + R"(: is no layout, which has "action":"displayConfig" and "type":"response")";
}

void setStandardDisplays(nk_messageGetDisplayConfigurationRsp& displays) {
  displays.set("panel", 0);
  displays.addDisplayConfiguration("whole", 1, true)
      ->addLogicalDisplay("main", 0, 1920, 1080, true, 0, 0);
}
