#pragma once

#include <array>
#include <memory>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "tools/common/messages.h"
#include "tools/nkdevice/journal.h"
#include "tools/nkdevice/limits.h"

/// What stations set and the panel keeps: the configuration and the schedules in force, with their
/// checksums. A change comes into force once it is stored, or not at all. Not synchronised.
class tSettings {
 public:
  /// Both are borrowed for the life of this object.
  tSettings(tStore& store, tLimits const& limits);

  /// Takes over what is stored; defaults stand for what is missing or damaged. False if memory runs
  /// out.
  bool load();
  /// Tries again to bring to the medium what is in force. To be called now and then.
  void settle();

  /// Put the request into force and return why that was refused, an empty text if it was done.
  /// Of a configuration below version 3 the frames are no part: those in force stay.
  std::string setConfig(nk_tools::tContent& request);
  /// Merges by setSchedulesFromWithoutClear. If the panel would hold more than the limits then, the
  /// schedules of the request replace those in force.
  std::string setSchedules(nk_tools::tContent& request);
  /// The device's name is part of the configuration.
  std::string setName(tString const& name);

  tString const& name() const { return m_config->device_getName(); }
  /// The checksums of what is in force, as a request in `version` reads them. Never empty.
  tString const& configChecksum(nk_message::teVersion) const { return m_configChecksum; }
  tString const& schedulesChecksum(nk_message::teVersion version) const;

 private:
  using tConfig = nk_messageSetConfigReq;
  using tSchedules = nk_messageSetSchedulesReq;
  // By version; later versions have the layout of the last one.
  using tChecksums = std::array<tString, nk_message::VERSION_3 + 1>;

  std::unique_ptr<tConfig> changed(nk_tools::tContent& request, std::string& problem) const;
  std::unique_ptr<tSchedules> merged(nk_tools::tContent& request, std::string& problem) const;
  bool store(std::unique_ptr<tConfig> next, tBlob const& change, unsigned int work);
  bool takeName(nk_tools::tContent& content);
  bool store(std::unique_ptr<tSchedules> next, tBlob const& change);
  bool exceeds(tSchedules const& set) const;
  static bool makeChecksums(tSchedules const& set, tChecksums& checksums);

  tLimits const& m_limits;
  tJournal m_configFile;
  tJournal m_schedulesFile;
  std::unique_ptr<tConfig> m_config;
  std::unique_ptr<tSchedules> m_schedules;
  tString m_configChecksum;
  tChecksums m_schedulesChecksums;
};
