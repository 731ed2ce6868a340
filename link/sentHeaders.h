#pragma once

#include <array>

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// Reads the headers in what an engine sends, which is frame behind frame and nothing else. Keeps a
/// few bytes of each frame only, whatever its size. docs/wire-format.md describes the frames.
/// Not synchronised.
class nk_sentHeaders {
 public:
  /// Reads on until the header of the next frame is known. Moves `data` and `length`, which must
  /// not be null, behind what was read. False if the bytes were used up before that.
  bool next(unsigned char const*& data, unsigned int& length);
  /// What the frame says, without its payload. Holds until the next call.
  nk_telegramPart const& part() const { return m_part; }

 private:
  enum teState { BETWEEN, IN_HEADER, BEHIND_HEADER };
  bool readHeader();

  teState m_state = BETWEEN;
  std::array<unsigned char, 32> m_encoded{};  // whole groups of base-128, enough for the header
  unsigned int m_count = 0;                   // how many of these have come
  tBlob m_frame;
  nk_telegramPart m_part;
};
