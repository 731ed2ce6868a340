#pragma once

#include <functional>
#include <string>

#include "nkProtocol/message.h"
#include "nkSupport/tBlob.h"

/// The directory in which a panel keeps what must outlast the program. Files are replaced as a
/// whole: after a crash at any moment there is the old file or the new one. One panel per
/// directory; a lock sees to that. Not synchronised.
class tStore {
 public:
  /// The version of the messages that are stored: that which has all fields.
  static constexpr auto storedVersion = nk_message::VERSION_3;

  /// Keeps nothing if `directory` is empty. `trouble` is called with each failure once the store is
  /// open, and again for the same failure only after something else was said or written.
  tStore(std::string directory, std::function<void(std::string const& what)> trouble);
  ~tStore();
  tStore(tStore const&) = delete;
  tStore& operator=(tStore const&) = delete;

  /// Creates the directory if it is missing and locks it; the lock ends with the program. False,
  /// said on standard error, if that fails or another panel has the lock.
  bool open();
  bool keepsNothing() const { return m_directory.empty(); }
  /// Where the file `name` is.
  std::string path(std::string const& name) const { return m_directory + "/" + name; }

  /// False if there is surely no file `name`.
  bool holds(char const* name) const;
  /// Reads the file `name` into `content`. False if there is none, and if it cannot be read or is
  /// larger than `most` bytes: then it is set aside.
  bool read(char const* name, tBlob& content, unsigned int most);
  /// Replaces the file `name`. True: the new content is in force, and on the medium if isSettled().
  /// False: the old file is in place.
  bool write(char const* name, tBlob const& content);
  /// The same for files that hold one message, header and body. `message` is fresh and of
  /// storedVersion; it is of no use if reading fails.
  bool read(char const* name, nk_message& message, unsigned int most);
  bool write(char const* name, nk_message& message);

  /// Brings the bytes of the file `name` to the medium. False, and reported, if that fails.
  bool sync(char const* name);
  /// To be called after a change of the directory's entries: brings them to the medium now, or, if
  /// that fails, with a later settle(). Until then nothing may be deleted that older entries name.
  bool syncEntries();
  /// Tries again what the last syncEntries() could not do.
  bool settle() { return m_settled || syncEntries(); }
  bool isSettled() const { return m_settled; }

  /// Renames the file `name` to `name`.bad, out of the way of the next write: `why` stands behind
  /// its name in what is told.
  void setAside(char const* name, char const* why);
  /// Reports "cannot `what` `path`: `error`", `error` being a number of errno.
  void reportTrouble(char const* what, std::string const& path, int error);
  void reportTrouble(std::string const& text);
  void reportSuccess() { m_reported.clear(); }

  /// Brings the entries of a directory to the medium. False, with errno set, if that fails.
  static bool syncDirectory(std::string const& path);

 private:
  bool lock();

  std::string const m_directory;
  std::function<void(std::string const&)> const m_trouble;
  std::string m_reported;  // the last trouble, so that retries do not repeat it
  bool m_settled = true;
  int m_lock = -1;
};
