#pragma once

#include <array>
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
  /// destination), without memory, and once the payloads have been taken.
  bool add(nk_telegramPart& part);
  bool endsWithLast() const { return !m_parts.empty() && m_parts.back().last; }
  /// Brings the parts into the order of their numbers; false if these are not 1, 2, 3 and so on,
  /// and without memory.
  bool sort();
  /// Moves the joined payloads to `out`. False, with nothing done, if that was done before.
  bool takePayloads(tBlob& out);

 private:
  struct tPart {
    unsigned int id;
    unsigned int offset;  // in m_payloads
    unsigned int size;
    bool last;
  };
  using tKey = std::array<unsigned int, 3>;  // part number, destination, source

  std::vector<tPart> m_parts;
  tBlob m_payloads;
  bool m_taken = false;
  // Parts that come in order, 1, 2, 3 and so on with the addresses of the first, are only counted;
  // the others are looked up.
  tKey m_inOrder{};
  std::set<tKey> m_others;
};
