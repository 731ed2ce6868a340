#pragma once

#include "nkSupport/export.h"

/// CRC-8 of `length` bytes: polynomial x^8 + x^2 + x + 1 (0x07), most significant bit first,
/// initial value 0xFF (so that leading zeros count), no final inversion: the CRC of bytes followed
/// by their own CRC is 0. The CRC of nothing is 0xFF. `buffer` may be null if `length` is 0.
NK_SUPPORT_API unsigned char crc_crc8init(unsigned char const* buffer, unsigned int length);

/// Carries a CRC on: given the CRC of some bytes, returns that of those bytes followed by `buffer`.
NK_SUPPORT_API unsigned char crc_crc8(unsigned char crc, unsigned char const* buffer,
                                      unsigned int length);
