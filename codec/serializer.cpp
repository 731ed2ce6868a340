#include "nkProtocol/serializer.h"

#include "codec/withinMemory.h"

bool nk_serializer::readLength(unsigned int& length) {
  // PEER: the length stays consumed when the bytes behind it are missing; callers stop anyway.
  return u32(length, SER_READ) && length <= remaining();
}

bool nk_serializer::string(tString& s, teSerDirection d) {
  unsigned int length = s.length();
  if (d != SER_READ) {
    constexpr unsigned int prefix = sizeof length;
    unsigned char* const to = length <= maxSize - prefix ? extend(prefix + length) : nullptr;
    if (to == nullptr) return false;
    std::memcpy(to, &length, prefix);
    if (length != 0) std::memcpy(to + prefix, s.c_str(), length);  // most texts are empty
    return true;
  }
  s.clear();
  if (!readLength(length)) return false;
  auto const taken = [&] {
    s.assign(reinterpret_cast<char const*>(data()) + m_readPosition, length);
    return true;
  };
  if (!withinMemory(*this, taken)) return false;
  m_readPosition += length;
  return true;
}

bool nk_serializer::blob(tBlob& b, teSerDirection d) {
  unsigned int length = b.size();
  if (d != SER_READ) return u32(length, d) && append(b.data(), length);
  b.clear();
  if (!readLength(length)) return false;
  if (!b.append(data() + m_readPosition, length)) {
    noteLackOfMemory();
    return false;
  }
  m_readPosition += length;
  return true;
}
