#pragma once

#include <compare>
#include <set>
#include <vector>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// The parts of one telegram that have been received, in the order of their arrival, their payloads
/// one behind the other: parts that come in order are joined as they come.
/// Not synchronised.
class nk_receivedParts {
 public:
  /// Adds a copy of a part. False for a part that is there already (same number, source and
  /// destination), if memory runs out, and after takePayloads().
  bool add(nk_telegramPart& part);
  bool endsWithLast() const { return !m_parts.empty() && m_parts.back().last; }
  /// Sorts the parts by number. False if the numbers are not 1, 2, 3 and so on, or if memory runs
  /// out; then the order is as before.
  bool sort();
  /// Copies the payloads, joined in the order of the parts, to `out`. False if memory runs out.
  bool copyPayloads(tBlob& out) const;
  /// Moves the joined payloads to `out`, without a copy. Nothing can be added or joined afterwards.
  void takePayloads(tBlob& out);

 private:
  struct tPart {
    unsigned int id;
    unsigned int offset;  // in m_payloads
    unsigned int size;
    bool last;
  };
  struct tKey {
    unsigned int number = 0;
    unsigned int destination = 0;
    unsigned int source = 0;
    auto operator<=>(tKey const&) const = default;
  };

  std::vector<tPart> m_parts;
  tBlob m_payloads;
  bool m_taken = false;
  // Parts that arrive in order (1, 2, 3 ... with the addresses of the first part) need no lookup:
  // this is the key of the last of them. All others are in m_others.
  tKey m_inOrder;
  std::set<tKey> m_others;
};
