#pragma once

#include <compare>
#include <set>
#include <vector>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

class nk_frameWriter;

/// The parts of one telegram, in the order of their arrival, their payloads one behind the other:
/// parts that come in order are joined as they come.
/// Not synchronised.
class nk_partList {
 public:
  /// Adds a copy of a part. False for a part that is there already (same number, source and
  /// destination). If memory runs out: false or std::bad_alloc, with nothing changed.
  bool add(nk_telegramPart& part);
  /// Adds a part that is not there yet, and whose payload is where `offset` and `size` say in the
  /// bytes that swapPayloads() brings. Throws std::bad_alloc, with nothing changed.
  void addHeader(nk_telegramPart const& part, unsigned int offset, unsigned int size);
  /// Exchanges the joined payloads, without a copy.
  void swapPayloads(tBlob& payloads) { m_payloads.swap(payloads); }
  /// Bytes of all payloads.
  unsigned int size() const { return m_payloads.size(); }
  bool endsWithLast() const {
    return !m_parts.empty() && m_parts.back().info == nk_telegramPart::PARTINFO_LAST_PART;
  }
  /// Sorts the parts by number. False if the numbers are not 1, 2, 3 and so on, or if memory runs
  /// out; then the order is as before.
  bool sort();
  /// Copies the payloads, joined in the order of the parts, to `out`. False if memory runs out, and
  /// after takePayloads().
  bool copyPayloads(tBlob& out) const;
  /// Adds a frame for each part, in the order of the list. False if memory runs out, and after
  /// takePayloads().
  bool writeFrames(nk_frameWriter& writer) const;
  /// Moves the joined payloads to `out`, without a copy. Of parts that are added afterwards only
  /// the headers are kept.
  void takePayloads(tBlob& out);

 private:
  struct tPart {
    unsigned int number;
    unsigned int destination;
    unsigned int source;
    unsigned int telegramId;
    unsigned int timestamp;
    unsigned int offset;  // in m_payloads
    unsigned int size;
    nk_telegramPart::teType type;
    nk_telegramPart::tePartInfo info;
    nk_telegramPart::teCompression compression;
  };
  struct tKey {
    unsigned int number = 0;
    unsigned int destination = 0;
    unsigned int source = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): there is no pointer
    auto operator<=>(tKey const&) const = default;
  };
  static tKey keyOf(nk_telegramPart const& part);
  bool continuesOrder(tKey const& key) const;
  bool contains(tKey const& key) const;

  std::vector<tPart> m_parts;
  tBlob m_payloads;
  bool m_taken = false;
  // Parts that arrive in order (1, 2, 3 ... with the addresses of the first part) need no lookup:
  // this is the key of the last of them. All others are in m_others.
  tKey m_inOrder;
  std::set<tKey> m_others;
};
