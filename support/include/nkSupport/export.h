#pragma once

// Every public header includes this one, so that an older standard is named here, before the first
// header that cannot be compiled with it.
#if __cplusplus < 202002L
#error "libnkProtocol and libnkSupport need C++20: compile with -std=c++20 or a later standard."
#endif

/// Marks what libnkSupport exports; everything else in it stays hidden.
#define NK_SUPPORT_API __attribute__((visibility("default")))
