#pragma once

#include "nkSupport/export.h"

/// Marks what libnkProtocol exports; everything else in it stays hidden.
#define NK_API __attribute__((visibility("default")))
