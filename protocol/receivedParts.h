#pragma once

#include <array>
#include <set>
#include <vector>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// The parts of one telegram that have been received, in the order of their arrival, their payloads
/// one behind the other in one blob: parts that come in order are joined as they come.
/// Not synchronised.
class nk_receivedParts {
 public:
  /// Adds a part and its payload to the end of `payloads`. False for a part that is there already
  /// (same number, source and destination), and without memory.
  bool add(nk_telegramPart& part, tBlob& payloads);
  bool endsWithLast() const { return !m_parts.empty() && m_parts.back().last; }
  /// Brings the parts, with their payloads in `payloads`, into the order of their numbers; false if
  /// these are not 1, 2, 3 and so on.
  bool sort(tBlob& payloads);

 private:
  struct tPart {
    unsigned int id;
    unsigned int offset;  // in the payloads
    unsigned int size;
    bool last;
  };
  using tKey = std::array<unsigned int, 3>;  // part number, destination, source

  std::vector<tPart> m_parts;
  // Parts that come in order, 1, 2, 3 and so on with the addresses of the first, are only counted;
  // the others are looked up.
  tKey m_inOrder{};
  std::set<tKey> m_others;
};
