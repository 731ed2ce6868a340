#pragma once

#include <string>

#include "link/linkGuard.h"

namespace nk_tools {

/// What a guard has kept from its engine since the counts were `before`, as "2 bytes of noise, 1
/// damaged frame"; empty if that is nothing.
std::string droppedText(nk_linkGuard::tCounters const& counters,
                        nk_linkGuard::tCounters const& before = {});
/// Says that on standard error; nothing if there is nothing to say.
void sayDropped(nk_linkGuard::tCounters const& counters);

}  // namespace nk_tools
