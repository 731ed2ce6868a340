#pragma once

#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// Finds the frames in a stream that may hold anything: noise, remains of frames, frames that never
/// end. A frame's body has no byte below 0x80, so every start byte begins anew, and any other byte
/// below 0x80 ends what was begun: nothing that stands before a frame can hide it, and it is found
/// with its own last byte. docs/wire-format.md describes the frames.
///
/// Each byte is looked at once, whatever the stream holds; a frame that has begun is kept until it
/// ends, up to the largest size. Not synchronised.
class nk_frameCutter {
 public:
  /// Frames with more than `maxPayload` bytes of payload are given up as they grow beyond it.
  explicit nk_frameCutter(unsigned int maxPayload);

  /// Reads on until a whole frame was found that the engine would take: it decodes and its CRC
  /// holds. Moves `data` and `length`, which must not be null, behind what was read. False if the
  /// bytes were used up before that.
  bool next(unsigned char const*& data, unsigned int& length);

  /// The frame that next() found, start and end byte included, and what it says. Both hold until
  /// the next call.
  tBlob& frame() { return m_frame; }
  nk_telegramPart const& part() const { return m_part; }

  /// Frees large spare buffers. Invalidates frame() and part().
  void trim();

  /// Whole frames so far that next() found.
  unsigned long long frames() const { return m_frames; }
  /// Bytes so far that belong to no whole frame.
  unsigned long long skippedBytes() const { return m_skippedBytes; }
  /// Whole frames so far that did not decode or whose CRC did not hold.
  unsigned long long badFrames() const { return m_badFrames; }
  /// Frames so far that were given up for their size; their bytes count as skipped.
  unsigned long long largeFrames() const { return m_largeFrames; }
  /// Bytes of the frame that has begun and has not ended.
  unsigned int pending() const { return m_begun ? m_frame.size() : 0; }

 private:
  void add(unsigned char const* data, unsigned int count);
  void giveUp();
  bool verify();

  unsigned int const m_maxFrame;
  tBlob m_frame;
  tBlob m_verified;  // a copy, which is used up by decoding
  nk_telegramPart m_part;
  bool m_begun = false;
  unsigned long long m_frames = 0;
  unsigned long long m_skippedBytes = 0;
  unsigned long long m_badFrames = 0;
  unsigned long long m_largeFrames = 0;
};
