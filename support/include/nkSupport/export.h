#pragma once

/// Marks what libnkSupport exports; everything else in it stays hidden.
#define NK_SUPPORT_API __attribute__((visibility("default")))
