#pragma once

#include "link/linkGuard.h"

namespace nk_tools {

/// Says on standard error what a guard has kept from its engine; nothing if that is nothing.
void sayDropped(nk_linkGuard::tCounters const& counters);

}  // namespace nk_tools
