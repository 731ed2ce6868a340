#pragma once

#include <memory>
#include <vector>

#include "nkProtocol/export.h"
#include "nkProtocol/file.h"
#include "nkProtocol/message.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

class nk_jsonFields;

/// IMAGE: files for a device, and two task values that the library only carries. There is no
/// response. The message owns its files; pointers to them hold until clear, a parse or the
/// destructor.
///
/// Body: u8 taskRemove, u32 count and that many files (u64 id, string name, string checksum, u8
/// mime type, blob content); from version 3 on: u8 taskFbc.
/// Not synchronised: the owner locks.
class NK_API nk_messageImage : public nk_message {
 public:
  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageImage(teVersion version);
  nk_messageImage(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Numbers for the device; 0 until set or read. Bodies below version 3 lack taskFbc.
  unsigned char taskRemove() const { return m_taskRemove; }
  void setTaskRemove(unsigned char task) { m_taskRemove = task; }
  unsigned char taskFbc() const { return m_taskFbc; }
  void setTaskFbc(unsigned char task) { m_taskFbc = task; }

  /// Destroys all files; the tasks stay.
  void clear() { m_images.clear(); }
  /// Number of files.
  unsigned int count() const { return static_cast<unsigned int>(m_images.size()); }
  /// The file at `index`; null past the end.
  nk_msgFile* get(unsigned int index);
  /// True if there is a file with this id. O(files).
  bool imageIsPresent(unsigned long long id);
  /// Appends a file (see nk_msgFile); nothing happens if there is one with this id. False only for
  /// a null `content`, which is copied.
  bool add(unsigned long long id, tString const& name, tString const& mimeType, tBlob* content);
  /// Appends an empty file, whatever its id. True.
  bool add(unsigned long long id, tString const& name, tString const& mimeType);

 private:
  static bool fileBody(nk_msgFile& file, nk_serializer& ser, nk_serializer::teSerDirection d);
  static bool fileJson(nk_msgFile& file, nk_jsonFields fields);
  bool jsonForm(nk_jsonFields fields);

  std::vector<std::unique_ptr<nk_msgFile>> m_images;
  unsigned char m_taskRemove = 0;
  unsigned char m_taskFbc = 0;
};
