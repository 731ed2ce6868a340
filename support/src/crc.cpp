#include "nkSupport/crc.h"

unsigned char crc_crc8(unsigned char crc, unsigned char const* buffer, unsigned int length) {
  for (unsigned int i = 0; i < length; ++i) {
    crc = static_cast<unsigned char>(crc ^ buffer[i]);
    for (int bit = 0; bit < 8; ++bit)
      crc = static_cast<unsigned char>((crc << 1) ^ ((crc & 0x80) ? 0x07 : 0));
  }
  return crc;
}
unsigned char crc_crc8init(unsigned char const* buffer, unsigned int length) {
  return crc_crc8(0xFF, buffer, length);
}
