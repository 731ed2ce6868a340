#pragma once

#include "nkProtocol/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// A file that is sent to a device: a picture, a document or an archive. Schedule entries refer to
/// pictures by the id. Not synchronised: the owner locks.
class NK_API nk_msgFile {
 public:
  /// The kinds of content that devices accept, as numbered on the wire.
  enum teMimeType : unsigned char {
    MIME_PNG = 0,
    MIME_JPEG = 1,
    MIME_PDF = 2,
    MIME_7Z = 3,
    MIME_XML = 4,
    MIME_UNSUPPORTED = 5
  };

  /// For sending: takes the mime type from its text and computes the checksum. `content` is copied;
  /// null stands for an empty file.
  nk_msgFile(unsigned long long id, tString const& name, tString const& mimeType, tBlob* content);
  /// As received: all values are kept as they are, unchecked, whatever the content. `content` is
  /// copied; null stands for an empty file.
  nk_msgFile(unsigned long long id, tString const& name, tString const& checksum,
             unsigned char mimeType, tBlob* content);

  /// What schedule entries name the file by (nk_messageScheduleEntry::imageId).
  unsigned long long id() const { return m_id; }
  /// For people: a device stores the file under imageName().
  tString const& name() const { return m_name; }
  /// The SHA-1 text of the content, as the sender gave it.
  tString const& checksum() const { return m_checksum; }
  /// A teMimeType, or whatever number a peer sent.
  teMimeType mimeType() const { return teMimeType(m_mimeType); }
  /// The file's bytes. The checksum does not follow changes.
  tBlob& content() { return m_content; }

  /// The number of a mime type's text. Other texts give MIME_UNSUPPORTED and a line on standard
  /// output.
  static teMimeType getMimeType(tString const& mimeType);
  /// The file extension, such as ".png"; "." and a line on standard output for other numbers.
  static tString getFileExtension(teMimeType type);
  /// The name under which a device stores a file: "image_id", the id, the extension.
  static tString imageNameByMimeType_e(unsigned long long id, teMimeType type);
  /// The same with this file's mime type; `id` need not be this file's.
  tString imageName(unsigned long long id);
  /// Writes the content to `directory` under `fileName`, or imageName(id()) if that is empty, and
  /// returns the path; the empty text if it could not be written. It is written under the path
  /// with "~" appended first, so that under its own name there is the whole file or what was there
  /// before. With `sync` it is on the medium when the call returns. Whether the last step, giving
  /// the file its name, went well is not said.
  tString saveToDir(tString directory, bool sync, tString const& fileName);

 private:
  // Fills the fields of files that come in, and writes them from where they lie.
  friend class nk_messageImage;
  nk_msgFile() = default;

  unsigned long long m_id = 0;
  tString m_name;
  tString m_checksum;
  unsigned char m_mimeType = MIME_UNSUPPORTED;
  tBlob m_content;
  [[maybe_unused]] unsigned short m_reserved[4] = {};
};

/// The characters of `head`, up to its terminating zero, followed by `tail`.
NK_API tString operator+(char const* head, tString const& tail);
