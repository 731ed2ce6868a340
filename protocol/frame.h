#pragma once

#include "codec/frameLayout.h"
#include "nkProtocol/serializer.h"
#include "nkProtocol/telegramPart.h"
#include "nkSupport/tBlob.h"

/// Writes frames one behind the other into a buffer that keeps its memory. Not synchronised.
class nk_frameWriter {
 public:
  /// The frames written since the last clear().
  tBlob& frames() { return m_frames; }
  /// Empties the buffer. Memory beyond what telegrams commonly need is given back once they need it
  /// no longer.
  void clear();
  /// Adds a frame with the header of `part` and a payload of `size` bytes. False, with nothing
  /// added, if memory or the size limit of a blob does not suffice.
  bool add(nk_telegramPart& part, unsigned char const* payload, unsigned int size);
  /// The same, to the end of `out`.
  bool add(tBlob& out, nk_telegramPart& part, unsigned char const* payload, unsigned int size);

 private:
  tBlob m_frames;
  nk_serializer m_header;
};

/// Cuts frames off the front of one stream that grows at its end. Remembers how far the stream was
/// searched, so that a frame that comes in small pieces costs no more than one that comes whole;
/// between calls nothing but appending may be done to the stream. Not synchronised.
class nk_frameReader {
 public:
  /// Reads the first frame of `stream` into `part`; see nk_telegramPart::streamContainsTelegram.
  bool next(tBlob& stream, nk_telegramPart& part);
  /// Takes back the memory of a payload, for the frames to come. What it and the empty stream hold
  /// beyond what telegrams commonly need is given back once they need it no longer.
  void recycle(tBlob& stream, nk_telegramPart& part);

 private:
  /// Where the first byte of one value stands, as far as the stream has been searched.
  struct tMark {
    unsigned int position = 0;  // of the byte if found, otherwise where to search on
    bool found = false;
    bool find(tBlob const& stream, unsigned char byte);
  };
  bool decode(unsigned char const* encoded, unsigned int size, nk_telegramPart& part);

  tMark m_start;
  tMark m_end;
  unsigned int m_largest = 0;  // frame since the last recycle()
  nk_serializer m_body;        // decoded; its memory changes hands with each part's payload
};
