#pragma once

#include <memory>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "tools/common/messages.h"
#include "tools/nkdevice/store.h"

/// What stations set and the panel keeps: the configuration and the schedules in force. Changes
/// come into force once they are stored, or not at all. Not synchronised.
class tSettings {
 public:
  /// `store` is borrowed for the life of this object.
  explicit tSettings(tStore const& store);

  /// Takes over what is stored; defaults stand for what is missing or damaged.
  void load();

  /// Puts the SET_CONFIG_REQ in `request` into force: its frames only from version 3 on, below
  /// they are not part of it and stay. False if it is damaged or cannot be stored.
  bool setConfig(nk_tools::tContent& request);
  /// Merges the SET_SCHEDULES_REQ in `request`, by setSchedulesFromWithoutClear. False if it is
  /// damaged or cannot be stored.
  bool setSchedules(nk_tools::tContent& request);
  /// The device's name is part of the configuration. False if it cannot be stored.
  bool setName(tString const& name);

  tString const& name() const { return m_config->device_getName(); }
  /// The checksums of what is in force, as a request in `version` reads them.
  tString configChecksum(nk_message::teVersion version) const;
  tString schedulesChecksum(nk_message::teVersion version) const;

 private:
  using tConfig = nk_messageSetConfigReq;
  using tSchedules = nk_messageSetSchedulesReq;

  bool replaceConfig(std::unique_ptr<tConfig> next);

  tStore const& m_store;
  std::unique_ptr<tConfig> m_config;
  std::unique_ptr<tSchedules> m_schedules;
};
