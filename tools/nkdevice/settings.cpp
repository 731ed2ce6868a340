#include "tools/nkdevice/settings.h"

#include <algorithm>

#include "nkProtocol/stateMessages.h"

namespace {

constexpr auto storedVersion = tStore::storedVersion;
// Estimated cost of replaying one element of the value, in bytes.
constexpr unsigned int elementWork = 100;

// Writes `message` into the blob that a journal asks for.
tJournal::tWhole wholeOf(nk_message& message) {
  return [&message](tBlob& record) {
    nk_serializer content;
    bool const written = message.serializeMsg(&content);
    record.swap(content);
    return written;
  };
}

}  // namespace

tSettings::tSettings(tStore& store, tLimits const& limits)
    : m_limits(limits),
      m_configFile(store, "config.log", "config.bin"),
      m_schedulesFile(store, "schedules.log", "schedules.bin"),
      m_config(std::make_unique<tConfig>(storedVersion)),
      m_schedules(std::make_unique<tSchedules>(storedVersion)) {}

// A record is the request that was accepted: taking it again leads to the same value.
bool tSettings::load() {
  auto const taker = [](auto& value, auto next) {
    return [&value, next](tBlob& record) {
      nk_tools::tContent content(std::move(record));
      std::string problem;
      auto taken = next(content, problem);
      if (taken == nullptr) return false;
      value = std::move(taken);
      return true;
    };
  };
  auto const takeConfig =
      taker(m_config, [this](auto& content, auto& problem) { return changed(content, problem); });
  m_configFile.load([&](tBlob& record) {
    nk_tools::tContent content{tBlob(record)};
    return content.type == nk_message::STATE_REQ ? takeName(content) : takeConfig(record);
  });
  m_schedulesFile.load(taker(
      m_schedules, [this](auto& content, auto& problem) { return merged(content, problem); }));
  m_configChecksum = m_config->checksum(storedVersion);
  return !m_configChecksum.empty() && makeChecksums(*m_schedules, m_schedulesChecksums);
}

// Without a copy of the configuration: there may be many names in a row.
bool tSettings::takeName(nk_tools::tContent& content) {
  nk_messageStateReq named(content.version);
  if (!content.readInto(named) || !m_limits.problemOfText(named.newName().length()).empty())
    return false;
  m_config->device_setName(named.newName());
  return true;
}

void tSettings::settle() {
  m_configFile.settle(wholeOf(*m_config));
  m_schedulesFile.settle(wholeOf(*m_schedules));
}

std::string tSettings::setConfig(nk_tools::tContent& request) {
  std::string problem;
  auto next = changed(request, problem);
  if (next == nullptr) return problem;
  auto const elements =
      request.type == nk_message::STATE_REQ ? 0u : next->timeSlot_count_ts() + next->frm_count();
  auto const work = request.body.size() + elements * elementWork;
  return store(std::move(next), request.body, work) ? problem : "it cannot be stored";
}

std::string tSettings::setSchedules(nk_tools::tContent& request) {
  std::string problem;
  auto next = merged(request, problem);
  if (next != nullptr && !store(std::move(next), request.body)) problem = "it cannot be stored";
  return problem;
}

std::string tSettings::setName(tString const& name) {
  nk_messageStateReq request(storedVersion);
  request.setTaskNewName(name);
  nk_serializer bytes;
  if (!request.serializeMsg(&bytes)) return "no memory";
  nk_tools::tContent content(std::move(bytes));
  return setConfig(content);
}

// What the configuration in force becomes by a SET_CONFIG_REQ, or by a STATE_REQ with a new name;
// null if that is refused.
std::unique_ptr<nk_messageSetConfigReq> tSettings::changed(nk_tools::tContent& request,
                                                           std::string& problem) const {
  auto next = std::make_unique<tConfig>(storedVersion);
  next->setConfigFrom(m_config.get());
  bool whole = false;
  if (request.type == nk_message::STATE_REQ) {
    nk_messageStateReq named(request.version);
    whole = request.readInto(named);
    problem = m_limits.problemOfText(named.newName().length());
    next->device_setName(named.newName());
  } else if (request.type == nk_message::SET_CONFIG_REQ) {
    problem = m_limits.problemOfConfig(request);
    if (!problem.empty()) return nullptr;
    tConfig received(request.version);
    // Beforehand, so that what a body of this version does not have stays as it is.
    received.setConfigFrom(m_config.get());
    whole = request.readInto(received);
    next->setConfigFrom(&received);
  }
  if (problem.empty() && !whole) problem = "it is damaged";
  return problem.empty() ? std::move(next) : nullptr;
}

std::unique_ptr<nk_messageSetSchedulesReq> tSettings::merged(nk_tools::tContent& request,
                                                             std::string& problem) const {
  bool const right = request.type == nk_message::SET_SCHEDULES_REQ;
  problem = right ? m_limits.problemOfSchedules(request) : "it has the wrong type";
  if (!problem.empty()) return nullptr;
  tSchedules received(request.version);
  if (!request.readInto(received)) {
    problem = "it is damaged";
    return nullptr;
  }
  auto next = std::make_unique<tSchedules>(storedVersion);
  next->setSchedulesFrom(m_schedules.get());
  next->setSchedulesFromWithoutClear(&received);
  // Merging keeps some old schedules. Without this check they would accumulate.
  if (exceeds(*next)) next->setSchedulesFrom(&received);
  return next;
}

bool tSettings::exceeds(tSchedules const& set) const {
  if (set.count() > m_limits.schedules) return true;
  unsigned long long entries = 0;
  for (unsigned int i = 0; i < set.count(); ++i) entries += set.getSchedule(i)->count();
  return entries > m_limits.entries;
}

bool tSettings::makeChecksums(tSchedules const& set, tChecksums& checksums) {
  for (unsigned int version = 0; version < checksums.size(); ++version) {
    checksums[version] = set.checksum(nk_message::teVersion(version));
    if (checksums[version].empty()) return false;
  }
  return true;
}

// The checksums are made first: without memory for them nothing may change. What does not change
// anything is not stored again.
bool tSettings::store(std::unique_ptr<tConfig> next, tBlob const& change, unsigned int work) {
  auto checksum = next->checksum(storedVersion);
  if (checksum == m_configChecksum) return true;
  if (checksum.empty() || !m_configFile.add(change, work, wholeOf(*next))) return false;
  m_config = std::move(next);
  m_configChecksum = std::move(checksum);
  return true;
}

bool tSettings::store(std::unique_ptr<tSchedules> next, tBlob const& change) {
  tChecksums checksums;
  if (!makeChecksums(*next, checksums)) return false;
  if (checksums == m_schedulesChecksums) return true;
  auto const work = change.size() + next->count() * elementWork;
  if (!m_schedulesFile.add(change, work, wholeOf(*next))) return false;
  m_schedules = std::move(next);
  m_schedulesChecksums = std::move(checksums);
  return true;
}

tString const& tSettings::schedulesChecksum(nk_message::teVersion version) const {
  return m_schedulesChecksums[std::min<unsigned int>(version, nk_message::VERSION_3)];
}
