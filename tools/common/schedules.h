#pragma once

#include "nkProtocol/scheduleMessages.h"

namespace nk_tools {

/// The same text as set.checksum(version), in O(n log n) for a set in any order: a peer or a file
/// may bring a long set back to front, on which the library's own sort takes O(n * n).
tString schedulesChecksum(nk_messageSetSchedulesReq const& set, nk_message::teVersion version);

}  // namespace nk_tools
