#pragma once

#include <vector>

#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkSupport/tString.h"
#include "nkSupport/tUidList.h"

class nk_jsonFields;

/// STATE_REQ: asks a device for its state; may carry one task, the setting of a new device name.
/// Body, every version: u8 task, string new name.
/// Not synchronised: the owner locks.
class NK_API nk_messageStateReq : public nk_message {
 public:
  enum teTask : unsigned char { TASK_NONE = 0, TASK_NEW_NAME = 1 };

  explicit nk_messageStateReq(teVersion version);
  nk_messageStateReq(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Asks for the device name to be set to `name`.
  void setTaskNewName(tString const& name);
  /// A teTask, or whatever number a peer sent.
  unsigned char task() const { return m_task; }
  tString const& newName() const { return m_newName; }

 private:
  bool jsonForm(nk_jsonFields fields);

  unsigned char m_task = TASK_NONE;
  tString m_newName;
};

/// The radio access of a device with a mobile modem, as a small number that fits 7 bits. Its values
/// belong to the devices; this library only carries them.
enum teNkMobileRan : unsigned char { NK_MOBILE_RAN_NONE = 0 };

/// STATE_RSP: a device's state. Body: u32 serial; strings ci, csCfg, csSched, vc, va; u32 omc,
/// second number, evc; version 0 only: string legacy; strings devName, devCus; u32 flags; from
/// version 1 on: u32 image count and that many u64 uids; from version 2 on: u64 extState.
/// The JSON form has neither the second number nor the legacy text.
/// Not synchronised: the owner locks.
class NK_API nk_messageStateRsp : public nk_message {
 public:
  explicit nk_messageStateRsp(teVersion version);
  nk_messageStateRsp(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Sets all but flags and extState. `csCfg` and `csSched` are the checksums of the configuration
  /// and the schedules in force.
  void set(unsigned int serial, tString const& ci, tString const& csCfg, tString const& csSched,
           unsigned int omc, unsigned int second, tString const& vc, tString const& va,
           unsigned int evc, tString legacy, tString devName, tString devCus,
           std::vector<unsigned long long> images);
  /// Sets the low byte of extState: `active` in bit 0, `ran` in bits 1 to 7.
  void setMobileState(teNkMobileRan ran, bool active);
  void setFlags(unsigned int flags) { m_flags = flags; }

  /// True if the device holds the image. O(images).
  bool imageUidPresent(unsigned long long uid) const;
  /// True if the device holds every image of `uids`; true for an empty list.
  bool imageUidsPresent(tUidList const& uids) const;

  unsigned int serial() const { return m_serial; }
  tString const& ci() const { return m_ci; }
  tString const& csCfg() const { return m_csCfg; }
  tString const& csSched() const { return m_csSched; }
  tString const& vc() const { return m_vc; }
  tString const& va() const { return m_va; }
  unsigned int omc() const { return m_omc; }
  /// The second of the three numbers, behind omc.
  unsigned int second() const { return m_second; }
  unsigned int evc() const { return m_evc; }
  /// Of use in version 0 only.
  tString const& legacy() const { return m_legacy; }
  tString const& devName() const { return m_devName; }
  tString const& devCus() const { return m_devCus; }
  unsigned int flags() const { return m_flags; }
  unsigned long long extState() const { return m_extState; }
  std::vector<unsigned long long> const& images() const { return m_images; }

 private:
  bool jsonForm(nk_jsonFields fields);

  unsigned int m_serial = 0;
  tString m_ci;
  tString m_csCfg;
  tString m_csSched;
  tString m_vc;
  tString m_va;
  unsigned int m_omc = 0;
  unsigned int m_second = 0;
  unsigned int m_evc = 0;
  tString m_legacy;
  tString m_devName;
  tString m_devCus;
  unsigned int m_flags = 0;
  unsigned long long m_extState = 0;
  std::vector<unsigned long long> m_images;
};
