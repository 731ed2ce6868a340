#include "tools/nkctl/versions.h"

namespace {

std::string carriesNone(nk_message::teVersion version, char const* what, unsigned int count) {
  if (count == 0) return {};
  return "messages of version " + std::to_string(version) + " carry no " + what + ": " +
         std::to_string(count) + (count == 1 ? " stays" : " stay") + " behind";
}

}  // namespace

tString carriedChecksum(nk_messageSetConfigReq& config, nk_message::teVersion version,
                        tString const& panel) {
  auto whole = config.checksum(version);
  if (version >= nk_message::VERSION_3 || whole == panel) return whole;
  nk_messageSetConfigReq bare(version);
  bare.setConfigFrom(&config);
  bare.frm_clear();
  return bare.checksum(version);
}

std::string leftBehind(nk_messageSetConfigReq& config, nk_message::teVersion version) {
  return version >= nk_message::VERSION_3 ? "" : carriesNone(version, "frames", config.frm_count());
}

std::string leftBehind(nk_messageSetSchedulesReq const& set, nk_message::teVersion version) {
  if (version >= nk_message::VERSION_2) return {};
  unsigned int count = 0;
  for (unsigned int i = 0; i < set.count(); ++i)
    if (set.getSchedule(i)->stopTime() != 0) ++count;
  return carriesNone(version, "stop times", count);
}
