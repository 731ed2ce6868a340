#pragma once

#include <functional>
#include <string>

#include "nkProtocol/message.h"
#include "nkSupport/tBlob.h"

/// The directory in which a panel keeps what must be there again after a restart: one file for each
/// thing, replaced as a whole, so that a crash at any moment leaves the old file or the new one.
/// One panel for each directory, which a lock sees to. Not synchronised.
class tStore {
 public:
  /// The version of the messages that are stored: that which has all fields.
  static constexpr auto storedVersion = nk_message::VERSION_3;

  /// Keeps nothing if `directory` is empty. `trouble` is told what goes wrong, once it is open.
  tStore(std::string directory, std::function<void(std::string const& what)> trouble);
  ~tStore();
  tStore(tStore const&) = delete;
  tStore& operator=(tStore const&) = delete;

  /// Creates the directory if it is missing and takes its lock, which the system lets go of when
  /// the program ends in whatever way. False, said on standard error, if that fails or another
  /// panel has the lock.
  bool open();
  bool keepsNothing() const { return m_directory.empty(); }
  /// Where the file `name` is.
  std::string path(std::string const& name) const { return m_directory + "/" + name; }

  /// Reads the file `name` into `content`. False if there is none, and if it cannot be read: then
  /// it is set aside.
  bool read(char const* name, tBlob& content) const;
  /// Gives the file `name` this content; it is on the medium when this returns. False, with the old
  /// file in place, if that fails.
  bool write(char const* name, tBlob const& content) const;
  /// The same for files that hold a message, header and body. `message` is fresh and of
  /// storedVersion; it is of no use if reading fails.
  bool read(char const* name, nk_message& message) const;
  bool write(char const* name, nk_message& message) const;
  /// Renames the file `name` to `name`.bad, out of the way of the next write: `why` stands behind
  /// its name in what is told.
  void setAside(char const* name, char const* why) const;

 private:
  bool lock();

  std::string const m_directory;
  std::function<void(std::string const&)> const m_trouble;
  int m_lock = -1;
};
