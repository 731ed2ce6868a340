#pragma once

#include <string>
#include <string_view>

#include "nkSupport/tBlob.h"

namespace nk_explain {

/// Reads bytes from hexadecimal text: digits with or without blanks, commas and 0x between the
/// bytes; or what hexdump -C, xxd and od -A x -t x1 print, offsets, characters and the * for lines
/// like the one before included. What stands behind a # is a comment. A * gives 256 MiB in all at
/// most. Returns what is wrong, with the line; "" if nothing is.
std::string readHexDump(std::string_view text, tBlob& bytes);

}  // namespace nk_explain
