#pragma once

#include <string>

#include "nkSupport/tBlob.h"

/// The directory in which a panel keeps what must be there again after a restart: one file for each
/// thing, replaced as a whole, so that a crash at any moment leaves the old file or the new one.
/// One panel for each directory. Says on standard error what goes wrong. Not synchronised.
class tStore {
 public:
  /// Keeps nothing if `directory` is empty.
  explicit tStore(std::string directory) : m_directory(std::move(directory)) {}

  /// Creates the directory if it is missing. False if that fails.
  bool open() const;
  /// Reads the file `name` into `content`. False if there is none, and if it cannot be read: then
  /// it is set aside.
  bool read(char const* name, tBlob& content) const;
  /// Gives the file `name` this content; it is on the medium when this returns. False, with the old
  /// file in place, if that fails.
  bool write(char const* name, tBlob const& content) const;
  /// Renames the file `name` to `name`.bad, out of the way of the next write: `why` stands behind
  /// its name in what is said.
  void setAside(char const* name, char const* why) const;

 private:
  std::string path(char const* name) const { return m_directory + "/" + name; }

  std::string const m_directory;
};
