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
  /// What the device is asked to do besides answering.
  enum teTask : unsigned char { TASK_NONE = 0, TASK_NEW_NAME = 1 };

  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageStateReq(teVersion version);
  nk_messageStateReq(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Asks for the device name to be set to `name`.
  void setTaskNewName(tString const& name);
  /// A teTask, or whatever number a peer sent.
  unsigned char task() const { return m_task; }
  /// The name to be set; it counts with TASK_NEW_NAME only.
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
  /// See nk_message: for sending, and with a body that was received.
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
  /// Sets all 32 flags, whose meaning is the device's own.
  void setFlags(unsigned int flags) { m_flags = flags; }

  /// True if the device holds the image. O(images).
  bool imageUidPresent(unsigned long long uid) const;
  /// True if the device holds every image of `uids`; true for an empty list, false without memory.
  bool imageUidsPresent(tUidList const& uids) const;

  /// The device's serial number.
  unsigned int serial() const { return m_serial; }
  /// A text of the device's own, which the library only carries.
  tString const& ci() const { return m_ci; }
  /// Checksums of the configuration and the schedules in force, for the station to compare with its
  /// own: nk_messageSetConfigReq::checksum, nk_messageSetSchedulesReq::checksum.
  tString const& csCfg() const { return m_csCfg; }
  tString const& csSched() const { return m_csSched; }
  /// Two more texts of the device's own.
  tString const& vc() const { return m_vc; }
  tString const& va() const { return m_va; }
  /// The first of three numbers of the device's own.
  unsigned int omc() const { return m_omc; }
  /// The second of the three numbers, behind omc.
  unsigned int second() const { return m_second; }
  /// The last of the three numbers.
  unsigned int evc() const { return m_evc; }
  /// Of use in version 0 only.
  tString const& legacy() const { return m_legacy; }
  /// The name that a STATE_REQ can set, and the customer the device belongs to.
  tString const& devName() const { return m_devName; }
  tString const& devCus() const { return m_devCus; }
  /// What setFlags() was given, or came with the body; 0 before.
  unsigned int flags() const { return m_flags; }
  /// Low byte as setMobileState() sets it, the rest as it came. Bodies below version 2 lack it.
  unsigned long long extState() const { return m_extState; }
  /// Uids of the images that the device holds, in the order of the body. Bodies of version 0 lack
  /// them.
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
