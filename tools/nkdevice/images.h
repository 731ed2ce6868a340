#pragma once

#include <map>
#include <string>
#include <vector>

#include "nkProtocol/imageMessage.h"
#include "tools/nkdevice/eventLog.h"
#include "tools/nkdevice/store.h"

/// The images that a panel holds. Schedules name images by uid, so a uid has one image, whatever
/// names they have; names are kept for people and other programs.
///
/// In the directory images/ of the store each image has a file of its own, whose name is made of
/// uid and checksum alone, and which never changes. images.json says which of them count. A change
/// is: write the new files, replace images.json, delete the files that it does not name. A crash
/// anywhere leaves all of the old or all of the new images, and perhaps files that the next start
/// deletes.
///
/// Not synchronised.
class tImages {
 public:
  /// `store` and `events` are borrowed for the life of this object. All images together have at
  /// most `room` bytes.
  tImages(tStore const& store, tEventLog& events, unsigned long long room)
      : m_store(store), m_events(events), m_room(room) {}

  /// Takes over what is stored; what is damaged is dropped, and recorded.
  void load();
  /// Does what the message asks for by teImageTask, and records it; what is refused, too. Returns
  /// how many images were stored.
  unsigned int handle(nk_messageImage& message);
  /// The uids of all images, rising.
  std::vector<unsigned long long> uids() const;

 private:
  struct tImage {
    tString name;
    tString checksum;
    nk_msgFile::teMimeType mimeType;
    unsigned int size;
  };
  using tIndex = std::map<unsigned long long, tImage>;

  static std::string fileName(unsigned long long uid, tImage const& image);
  std::string directory() const { return m_store.path("images"); }
  unsigned int storeAll(nk_messageImage& message);
  void removeAll(nk_messageImage& message);
  char const* problemOf(nk_msgFile& file, tIndex const& index, unsigned long long others) const;
  bool save(nk_msgFile& file, tImage const& image);
  bool isWhole(unsigned long long uid, tImage& image) const;
  static unsigned long long sizeOf(tIndex const& index);
  bool readIndex(tIndex& index) const;
  bool commit(tIndex next);
  void sweep() const;

  tStore const& m_store;
  tEventLog& m_events;
  unsigned long long const m_room;
  tIndex m_index;
};
