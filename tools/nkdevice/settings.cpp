#include "tools/nkdevice/settings.h"

#include "tools/common/program.h"
#include "tools/common/schedules.h"

namespace {

// What is stored is a message with header, in the version that has all fields.
constexpr auto storedVersion = nk_message::VERSION_3;
constexpr char const* configFile = "config.bin";
constexpr char const* schedulesFile = "schedules.bin";

// The message of class Message in the file; null if there is none or it is damaged.
template <class Message>
std::unique_ptr<Message> stored(tStore const& store, char const* name) {
  tBlob bytes;
  if (!store.read(name, bytes)) return nullptr;
  nk_tools::tContent content(bytes);
  auto message = std::make_unique<Message>(content.version);
  if (content.type == message->type() && content.readInto(*message)) return message;
  store.setAside(name, "is damaged");
  return nullptr;
}

bool keep(tStore const& store, char const* name, nk_message& message) {
  nk_serializer content;
  if (message.serializeMsg(&content)) return store.write(name, content);
  nk_tools::say(std::string("no memory to store ") + name);
  return false;
}

}  // namespace

tSettings::tSettings(tStore const& store)
    : m_store(store),
      m_config(std::make_unique<tConfig>(storedVersion)),
      m_schedules(std::make_unique<tSchedules>(storedVersion)) {}

void tSettings::load() {
  if (auto const config = stored<tConfig>(m_store, configFile)) {
    m_config->setConfigFrom(config.get());
  }
  if (auto const schedules = stored<tSchedules>(m_store, schedulesFile)) {
    m_schedules->setSchedulesFrom(schedules.get());
  }
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
  if (!keep(m_store, schedulesFile, *next)) return false;
  m_schedules = std::move(next);
  return true;
}

bool tSettings::setName(tString const& name) {
  auto next = std::make_unique<tConfig>(storedVersion);
  next->setConfigFrom(m_config.get());
  return !next->device_setName(name) || replaceConfig(std::move(next));
}

bool tSettings::replaceConfig(std::unique_ptr<tConfig> next) {
  if (!keep(m_store, configFile, *next)) return false;
  m_config = std::move(next);
  return true;
}

tString tSettings::configChecksum(nk_message::teVersion version) const {
  return m_config->checksum(version);
}

tString tSettings::schedulesChecksum(nk_message::teVersion version) const {
  return nk_tools::schedulesChecksum(*m_schedules, version);
}
