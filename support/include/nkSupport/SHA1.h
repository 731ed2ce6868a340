#pragma once

#include "nkSupport/export.h"
#include "nkSupport/tString.h"

/// A SHA-1 computation over bytes given piece by piece. Source: FIPS 180-4. It serves to tell
/// whether two sides hold the same bytes, not to keep anything safe.
/// Not synchronised.
class NK_SUPPORT_API SHA1 {
 public:
  SHA1();
  /// Adds `length` bytes (`bytes` may be null if `length` is 0).
  void Input(unsigned char const* bytes, unsigned int length);
  /// The digest of all bytes so far as 40 lower-case hexadecimal digits. More input may follow: it
  /// counts as appended to what came before.
  tString Result() const;

 private:
  // Room for the context of the hash behind it, which stays out of this header.
  alignas(8) unsigned char m_context[128];
};
