#pragma once

#include "nkSupport/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// A file that is written from start to end. Interrupted and partial writes are carried on.
/// Not synchronised. The descriptor is never inherited by other programs.
class NK_SUPPORT_API tFile {
 public:
  /// Bits of the mode given to the constructor.
  static constexpr int modeWrite = 0x01;  ///< open for writing, otherwise for reading
  static constexpr int modeCreate =
      0x10;  ///< create the file if it is not there, with 0666 less umask
  static constexpr int modeTruncate = 0x20;  ///< start with an empty file

  /// Keeps mode and path and tries to open; isOpen() tells whether that went well.
  tFile(int mode, tString const& path);
  /// Closes the file.
  ~tFile();
  tFile(tFile const&) = delete;
  tFile& operator=(tFile const&) = delete;

  /// True from an open that went well to close().
  bool isOpen() const { return m_descriptor >= 0; }
  /// Opens the path that the constructor was given, without creating or emptying it again; closes
  /// first what is open. False if the system refuses.
  bool open();
  /// Opens another path in the same way and keeps it.
  bool open(tString const& path);
  /// Writes all bytes at the end of what was written before. False as soon as the system refuses
  /// (disk full, not open, ...); some bytes may have been written then.
  bool add(tBlob const& bytes);
  /// Lets the system begin to bring the file's bytes to the medium, without waiting. Called for
  /// several files before syncContent() it saves time; it promises nothing.
  void beginSync();
  /// Asks the system to bring the file's bytes to the medium and waits for it. False if not open or
  /// refused.
  bool syncContent();
  /// The same, and brings along a directory entry that renameFile changed. False too for a
  /// directory that may not be read.
  bool sync();
  /// Closes the file; false if the system reports a late write error. Nothing happens if closed.
  bool close();
  /// Gives the file `from` the name `to`, replacing what bore it, in one step that a crash cannot
  /// split. False if the system refuses.
  static bool renameFile(tString const& from, tString const& to);

 private:
  int m_mode;
  tString m_path;
  int m_descriptor = -1;
};
