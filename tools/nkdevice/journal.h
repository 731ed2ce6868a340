#pragma once

#include <functional>
#include <string>

#include "tools/nkdevice/store.h"

/// A value of the panel that is stored as one record of the whole and a record of each change
/// since: what a change costs on the medium depends on the change, not on the value. Once the
/// changes take more room than the whole (and 64 KiB), the file is replaced by one with a new
/// whole.
///
/// A record is a line "SHA-1 SIZE FORM", SIZE bytes and a line end. FORM is "plain", or "rle" for
/// bytes that tCompression::decodeRLE turns into the record. Not synchronised.
class tJournal {
 public:
  /// Takes a record that was stored; false if it is not right.
  using tTake = std::function<bool(tBlob& record)>;
  /// Puts the whole value, with the change that is being stored, into an empty blob; false if
  /// memory runs out.
  using tWhole = std::function<bool(tBlob& record)>;

  /// The file `name` in `store`, which is borrowed. `former` is the file in which version 0.1 kept
  /// the value, as one record without a head: it is read if there is no file `name`, and deleted
  /// once its content is stored there.
  tJournal(tStore& store, char const* name, char const* former)
      : m_store(store), m_name(name), m_former(former) {}

  /// Gives all records to `take`, oldest first, the whole before the changes. True if the whole was
  /// read. Without a whole the file is set aside, if there is one. Damaged changes are left out,
  /// which is reported, and a copy of the file is kept. What is in force then is on the medium if
  /// isSettled().
  bool load(tTake const& take);
  /// Stores a change. True: it is in force, and a restart finds it. False, and reported: it is not.
  /// `work` is the estimated cost of replaying the record at the next start, in bytes of the value
  /// that it makes.
  bool add(tBlob const& change, unsigned int work, tWhole const& whole);
  /// True if all that is in force is known to be on the medium. Until then nothing may be deleted
  /// that an older record names.
  bool isSettled() const { return m_settled && m_store.isSettled(); }
  /// True if load() left out damaged changes: the value may lack something that was stored.
  bool isDamaged() const { return m_isDamaged; }
  /// Stores the whole if the file on the medium may differ from what is in force. To be called now
  /// and then.
  void settle(tWhole const& whole);

 private:
  bool loadFormer(tTake const& take);
  void keepDamaged(tBlob const& file);
  bool append(tBlob const& record);
  bool takeBack();
  bool replace(tWhole const& whole);
  static bool pack(tBlob const& content, tBlob& record);
  struct tRecord {
    unsigned int size = 0;  // in the file
    bool intact = false;
    tBlob content = {};
  };
  static tRecord unpack(tBlob const& file, unsigned int from);
  static bool isTorn(tBlob const& file, unsigned int from);

  tStore& m_store;
  char const* const m_name;
  char const* const m_former;
  bool m_isFormer = false;  // what is in force came from there
  bool m_appends = false;   // if not, the next change replaces the file
  bool m_settled = true;
  bool m_isDamaged = false;
  unsigned int m_wholeSize = 0;  // of the record of the whole in the file
  unsigned int m_size = 0;       // of the file
  unsigned int m_work = 0;       // of all changes in the file
};
