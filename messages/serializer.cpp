#include "nkProtocol/serializer.h"

bool nk_serializer::readLength(unsigned int& length) {
  // PEER: the length stays consumed when the bytes behind it are missing; callers stop anyway.
  return u32(length, SER_READ) && length <= remaining();
}

bool nk_serializer::string(tString& s, teSerDirection d) {
  unsigned int length = s.length();
  if (d != SER_READ) return u32(length, d) && append(s.c_str(), length);
  s.clear();
  if (!readLength(length)) return false;
  s.assign(reinterpret_cast<char const*>(data()) + m_readPosition, length);
  m_readPosition += length;
  return true;
}

bool nk_serializer::blob(tBlob& b, teSerDirection d) {
  unsigned int length = b.size();
  if (d != SER_READ) return u32(length, d) && append(b.data(), length);
  b.clear();
  if (!readLength(length) || !b.append(data() + m_readPosition, length)) return false;
  m_readPosition += length;
  return true;
}
