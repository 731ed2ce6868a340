#include "nkProtocol/basicTelegram.h"

#include "nkSupport/tCompression.h"

nk_basicTelegram::nk_basicTelegram() = default;

nk_basicTelegram::nk_basicTelegram(unsigned int src, unsigned int dest, unsigned int id,
                                   unsigned int timestamp, teType type)
    : m_source(src), m_destination(dest), m_id(id), m_timestamp(timestamp), m_type(type) {}

nk_basicTelegram::nk_basicTelegram(nk_basicTelegram const* other) {
  if (other == nullptr) return;
  m_source = other->m_source;
  m_destination = other->m_destination;
  m_id = other->m_id;
  m_timestamp = other->m_timestamp;
  m_type = other->m_type;
  m_compression = other->m_compression;
  m_payload = other->m_payload;
}

nk_basicTelegram::~nk_basicTelegram() = default;

tString nk_basicTelegram::typeName(teType type) {
  switch (type) {
    case TYPE_REQUEST_NO_RESPONSE:
      return "TYPE_REQUEST_NO_RESPONSE";
    case TYPE_REQUEST_FORCE_RESPONSE:
      return "TYPE_REQUEST_FORCE_RESPONSE";
    case TYPE_RESPONSE:
      return "TYPE_RESPONSE";
  }
  return "invalid";
}

tString nk_basicTelegram::compressionName(teCompression compression) {
  switch (compression) {
    case COMPRESSION_NONE:
      return "COMPRESSION_NONE";
    case COMPRESSION_RLE:
      return "COMPRESSION_RLE";
    case COMPRESSION_HUFF:
      return "COMPRESSION_HUFF";
  }
  return "invalid";
}

void nk_basicTelegram::deCompress() {
  if (m_compression == COMPRESSION_RLE) {
    m_payload = tCompression::decodeRLE(m_payload);
  } else if (m_compression == COMPRESSION_HUFF) {
    m_payload = tCompression::decodeHuffman(m_payload);
  }
}

bool nk_basicTelegram::decodingFailed() const {
  // Content is only ever compressed if that makes it smaller, so none decodes to nothing.
  bool const compressed = m_compression == COMPRESSION_RLE || m_compression == COMPRESSION_HUFF;
  return compressed && m_payload.empty();
}
