#pragma once

#include <string>

#include "tools/nkdevice/panel.h"

namespace harness {

/// What a station can find out of what it set, but for the events.
inline std::string heldBy(tPanel& panel) {
  auto const& settings = panel.settings();
  std::string all = settings.name().c_str();
  all.append(" ").append(settings.configChecksum(nk_message::VERSION_3).c_str());
  for (auto const version : {nk_message::VERSION_0, nk_message::VERSION_3})
    all.append(" ").append(settings.schedulesChecksum(version).c_str());
  for (auto const uid : panel.images().uids())
    all.append(" " + std::to_string(uid) + "=").append(panel.images().checksum(uid).c_str());
  return all;
}

}  // namespace harness
