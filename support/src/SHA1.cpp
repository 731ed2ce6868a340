#include "nkSupport/SHA1.h"

#include <nettle/sha1.h>

#include <cstring>
#include <new>
#include <type_traits>

static_assert(sizeof(sha1_ctx) <= 128 && alignof(sha1_ctx) <= 8, "fits SHA1::m_context");
static_assert(std::is_trivially_copyable_v<sha1_ctx>, "copied with the bytes that hold it");

SHA1::SHA1() { sha1_init(new (m_context) sha1_ctx); }

void SHA1::Input(unsigned char const* bytes, unsigned int length) {
  if (length == 0) return;
  sha1_update(std::launder(reinterpret_cast<sha1_ctx*>(m_context)), length, bytes);
}

tString SHA1::Result() const {
  // Finishing changes the context: a copy ends here, the computation goes on.
  sha1_ctx ended;
  std::memcpy(&ended, m_context, sizeof ended);
  unsigned char digest[SHA1_DIGEST_SIZE];
  sha1_digest(&ended, sizeof digest, digest);
  char text[2 * sizeof digest];
  char* next = text;
  for (unsigned char const byte : digest) {
    *next++ = "0123456789abcdef"[byte >> 4];
    *next++ = "0123456789abcdef"[byte & 15];
  }
  return tString(text, sizeof text);
}
