#pragma once

#include "nkProtocol/basicTelegram.h"
#include "nkProtocol/serializer.h"

/// One frame of the byte stream: a telegram header, the number of the part and a slice of the
/// telegram's content. docs/wire-format.md gives the frame byte by byte.
/// Not synchronised: the owner locks.
class NK_API nk_telegramPart : public nk_basicTelegram {
 public:
  /// The values are the bits of a frame's flags byte.
  enum tePartInfo : unsigned char { PARTINFO_NOT_LAST_PART = 0x04, PARTINFO_LAST_PART = 0x08 };

  /// Default header, part id and part info 0.
  nk_telegramPart();
  /// A copy with a payload of its own; null gives the default part.
  explicit nk_telegramPart(nk_telegramPart const* other);
  /// Mind the order: id first, then the addresses. `partId` counts from 1. The bytes of `payload`
  /// are copied; null gives an empty payload.
  nk_telegramPart(unsigned int id, unsigned int src, unsigned int dest, unsigned int partId,
                  unsigned int timestamp, bool lastPart, tBlob* payload, teType type,
                  teCompression compression);
  ~nk_telegramPart() override;

  /// Number of the part within its telegram, from 1; 0 in the default part.
  unsigned int partId() const { return m_partId; }
  /// Owned by the part; valid as long as the part is.
  tBlob* payload() { return &m_payload; }
  /// True if no further part follows by number; parts may arrive in any order.
  bool isLastPart() const { return m_partInfo == PARTINFO_LAST_PART; }
  /// The name of the value; "invalid" for any other number.
  static tString partInfo(tePartInfo info);

  /// If this part is a whole telegram (number 1 and last): decompresses the payload in place and
  /// returns it, owned by the part. Otherwise null, with the payload as it was. To be called once
  /// per part.
  tBlob* isSinglePartTelegram();

  /// Appends the part as one frame to `out`. False, with `out` as it was, for null and when memory
  /// or the size limit of a blob does not suffice.
  bool serialize(tBlob* out);

  /// Reads the first frame of `stream` into this part and removes it from the stream. False if the
  /// stream holds no complete frame, in which case it stays as it is, or if the frame is invalid,
  /// in which case it is removed. A stream with an end byte before its first start byte yields
  /// nothing and is left alone until those bytes are gone.
  bool streamContainsTelegram(tBlob* stream);

 private:
  friend class nk_frameReader;
  friend class nk_frameWriter;
  friend class nk_partList;
  friend class nk_telegram;
  bool header(nk_serializer& ser, nk_serializer::teSerDirection d, unsigned char& flags);
  unsigned char flags() const;
  bool readBody(nk_serializer& body);

  unsigned int m_partId = 0;
  tePartInfo m_partInfo = tePartInfo(0);
};
