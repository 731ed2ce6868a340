#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "nkProtocol/imageMessage.h"
#include "tools/nkdevice/eventLog.h"
#include "tools/nkdevice/journal.h"

/// The images that a panel holds. Schedules name images by uid, so a uid has one image; several
/// images may have the same name, which is kept for people and other programs.
///
/// In the directory images/ of the store each image has its own file, named after uid and checksum,
/// which never changes. images.log says which of them are in force. A change writes the new files,
/// appends to images.log and then deletes the files that are no longer named. A crash leaves all of
/// the old or all of the new images, and perhaps files that the next start deletes.
///
/// Not synchronised.
class tImages {
 public:
  /// `store` and `events` are borrowed for the life of this object. All images together have at
  /// most `room` bytes.
  tImages(tStore& store, tEventLog& events, unsigned long long room)
      : m_store(store),
        m_events(events),
        m_room(room),
        m_file(store, "images.log", "images.json") {}

  /// Takes over what is stored; what is damaged is dropped, and recorded.
  void load();
  /// Does what the message asks for by teImageTask and records the outcome. Returns how many images
  /// were stored. An image that the panel holds already is not stored again; of several with the
  /// same uid the last one counts.
  unsigned int handle(nk_messageImage& message);
  /// Tries again to bring to the medium what is in force, and deletes what may be deleted then. To
  /// be called now and then.
  void settle();
  /// The uids of all images, rising.
  std::vector<unsigned long long> uids() const;
  /// The SHA-1 text of an image's content; empty if the panel does not hold the image.
  tString checksum(unsigned long long uid) const;

 private:
  using tUid = unsigned long long;
  struct tImage {
    tString name;
    tString checksum;
    nk_msgFile::teMimeType mimeType;
    unsigned int size;
    nk_msgFile* file = nullptr;  // content that has to be stored
  };
  using tIndex = std::map<tUid, tImage>;
  struct tRefusals;
  class tSlice;

  static std::string fileName(tUid uid, tImage const& image);
  std::string directory() const { return m_store.path("images"); }
  std::string filePath(std::string const& name) const { return directory() + "/" + name; }

  unsigned int storeAll(nk_messageImage& message);
  void removeAll(nk_messageImage& message);
  tIndex choose(nk_messageImage& message, tRefusals& refusals) const;
  void saveAll(tIndex& chosen, tRefusals& refusals);
  void giveUp(tIndex& chosen, tRefusals& refusals, std::vector<tUid> const& failed);
  void makeDirectory();

  static bool write(tIndex const& stored, std::vector<tUid> const& removed, tBlob& record);
  bool commit(tIndex const& stored, std::vector<tUid> const& removed);
  void take(tIndex const& stored, std::vector<tUid> const& removed);
  bool read(tBlob& record);
  bool isWhole(tUid uid, tImage& image) const;
  void sweepAll();
  void sweep();

  tStore& m_store;
  tEventLog& m_events;
  unsigned long long const m_room;
  tJournal m_file;
  tIndex m_index;
  unsigned long long m_taken = 0;   // bytes of all images
  std::set<std::string> m_useless;  // files that no image in force has, to be deleted
};
