#pragma once

#include <string>
#include <vector>

#include "nkProtocol/basicTelegram.h"
#include "tools/nkexplain/note.h"

namespace nk_explain {

/// Lists the fields of one frame, from start byte to end byte, that stands at `wireOffset` of its
/// stream. Of a damaged frame those that can be told. Returns why the frame is bad, "" if nothing
/// is seen.
std::string listFrameFields(tBlob const& frame, unsigned long long wireOffset,
                            std::vector<tField>& fields);
/// The compression that the flags of a part stand for, in words.
std::string compressionText(nk_basicTelegram::teCompression compression);

}  // namespace nk_explain
