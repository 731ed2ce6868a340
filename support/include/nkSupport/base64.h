#pragma once

#include <string_view>

#include "nkSupport/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// Base64 text of bytes: the standard alphabet with "=" padding and no line ends. Source: RFC 4648,
/// section 4.
namespace base64 {
/// The text of all bytes of `bytes`.
NK_SUPPORT_API tString encode(tBlob const& bytes);
/// Replaces `out` by the bytes of `text`. False, with `out` empty, if the text is not base64.
NK_SUPPORT_API bool decode(tBlob& out, std::string_view text);
}  // namespace base64
