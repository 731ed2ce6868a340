#include "tools/nkdevice/settings.h"

#include "tools/common/schedules.h"

namespace {

constexpr auto storedVersion = tStore::storedVersion;
constexpr char const* configFile = "config.bin";
constexpr char const* schedulesFile = "schedules.bin";

}  // namespace

tSettings::tSettings(tStore const& store)
    : m_store(store),
      m_config(std::make_unique<tConfig>(storedVersion)),
      m_schedules(std::make_unique<tSchedules>(storedVersion)) {}

void tSettings::load() {
  tConfig config(storedVersion);
  if (m_store.read(configFile, config)) m_config->setConfigFrom(&config);
  tSchedules schedules(storedVersion);
  if (m_store.read(schedulesFile, schedules)) m_schedules->setSchedulesFrom(&schedules);
}

bool tSettings::setConfig(nk_tools::tContent& request) {
  tConfig received(request.version);
  // Beforehand, so that what a body of this version does not have stays as it is.
  received.setConfigFrom(m_config.get());
  if (!request.readInto(received)) return false;
  auto next = std::make_unique<tConfig>(storedVersion);
  next->setConfigFrom(&received);
  return replaceConfig(std::move(next));
}

bool tSettings::setSchedules(nk_tools::tContent& request) {
  tSchedules received(request.version);
  if (!request.readInto(received)) return false;
  auto next = std::make_unique<tSchedules>(storedVersion);
  next->setSchedulesFrom(m_schedules.get());
  next->setSchedulesFromWithoutClear(&received);
  if (!m_store.write(schedulesFile, *next)) return false;
  m_schedules = std::move(next);
  return true;
}

bool tSettings::setName(tString const& name) {
  auto next = std::make_unique<tConfig>(storedVersion);
  next->setConfigFrom(m_config.get());
  return !next->device_setName(name) || replaceConfig(std::move(next));
}

bool tSettings::replaceConfig(std::unique_ptr<tConfig> next) {
  if (!m_store.write(configFile, *next)) return false;
  m_config = std::move(next);
  return true;
}

tString tSettings::configChecksum(nk_message::teVersion version) const {
  return m_config->checksum(version);
}

tString tSettings::schedulesChecksum(nk_message::teVersion version) const {
  return nk_tools::schedulesChecksum(*m_schedules, version);
}
