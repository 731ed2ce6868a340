#pragma once

#include "nkProtocol/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// The header that whole telegrams and their parts share, and a payload that the object owns.
/// Not synchronised: the owner locks.
class NK_API nk_basicTelegram {
 public:
  /// The values are the bits of a frame's flags byte.
  enum teType : unsigned char {
    TYPE_REQUEST_NO_RESPONSE = 1,
    TYPE_REQUEST_FORCE_RESPONSE = 2,
    TYPE_RESPONSE = 3
  };
  /// How a payload is encoded (see tCompression); these are bits of the flags byte, too.
  enum teCompression : unsigned char {
    COMPRESSION_NONE = 0x00,
    COMPRESSION_RLE = 0x10,
    COMPRESSION_HUFF = 0x20
  };
  /// The address of nobody: what a header has before it is given one.
  static constexpr unsigned int addressNone = 0xFFFFFFFF;
  /// Every instance takes telegrams to this address as its own.
  static constexpr unsigned int addressBroadcast = 0xFFFFFFFE;

  /// No addresses, all else 0, empty payload.
  nk_basicTelegram();
  /// `timestamp` is the low 32 bits of tTime::now() at creation. No compression, empty payload.
  nk_basicTelegram(unsigned int src, unsigned int dest, unsigned int id, unsigned int timestamp,
                   teType type);
  /// A copy with a payload of its own; null gives the default header.
  explicit nk_basicTelegram(nk_basicTelegram const* other);
  nk_basicTelegram(nk_basicTelegram const&) = delete;
  nk_basicTelegram& operator=(nk_basicTelegram const&) = delete;
  virtual ~nk_basicTelegram();

  /// Who sent it and whom it is for; addressNone in the default header.
  unsigned int sourceAddress() const { return m_source; }
  unsigned int destinationAddress() const { return m_destination; }
  /// The request's number; a response carries the id of the request that it answers.
  unsigned int telegramId() const { return m_id; }
  /// Seconds, the low 32 bits of the sender's clock when the telegram was made.
  unsigned int timestamp() const { return m_timestamp; }
  /// 0 in the default header; in one that was received whatever two bits of the flags byte say.
  teType type() const { return m_type; }
  /// How the payload came or goes; deCompress() does not change it.
  teCompression compression() const { return m_compression; }
  /// What type() says. Neither is true of a request that wants a response.
  bool isResponse() const { return m_type == TYPE_RESPONSE; }
  bool isRequestWithoutResponse() const { return m_type == TYPE_REQUEST_NO_RESPONSE; }

  /// The name of the value, such as "TYPE_RESPONSE"; "invalid" for any other number.
  static tString typeName(teType type);
  /// The name of the value, such as "COMPRESSION_RLE"; "invalid" for any other number.
  static tString compressionName(teCompression compression);

  /// Replaces the payload by its decoded form, as the compression field says; the field stays, so
  /// it is to be called once per payload. A payload that cannot be decoded becomes empty, which no
  /// compressed content ever is.
  void deCompress();
  /// After deCompress(): true if there was something to decode and it was no valid encoding, or
  /// larger than tCompression::maxDecodedSize() once decoded.
  bool decodingFailed() const;

 protected:
  /// The header, as the functions of these names give it.
  unsigned int m_source = addressNone;
  unsigned int m_destination = addressNone;
  unsigned int m_id = 0;
  unsigned int m_timestamp = 0;
  teType m_type = teType(0);
  teCompression m_compression = COMPRESSION_NONE;
  /// Encoded as m_compression says, until deCompress().
  tBlob m_payload;
};
