#include "tools/nkdevice/permissions.h"

#include "nkProtocol/basicTelegram.h"

bool tPermissions::mayChange(unsigned int station) const {
  if (station == nk_basicTelegram::addressNone || station == nk_basicTelegram::addressBroadcast)
    return false;
  return stations.empty() || stations.contains(station);
}

std::string tPermissions::by(unsigned int station) const {
  return stations.contains(station) ? " by station " + std::to_string(station) : "";
}
