#pragma once

#include <vector>

#include "nkSupport/base128.h"
// The ways are compiled into the program, so that each of them is tested wherever it can run and
// not only where the library would choose it.
#include "../../support/src/base128Vector.h"
#ifdef __x86_64__
#include "../../support/src/base128Avx2.h"
#endif

struct tBase128Way {
  char const* name;
  void (*encode)(unsigned char*, unsigned char const*, unsigned int);
  bool (*decode)(unsigned char*, unsigned char const*, unsigned int);
};

/// Those that this processor has; the library's own choice first.
inline std::vector<tBase128Way> base128Ways() {
  std::vector<tBase128Way> all{{"library", base128::encode, base128::decode},
                               {"generic", base128::encodeGeneric, base128::decodeGeneric},
                               {"vector", base128::encodeVector, base128::decodeVector}};
#ifdef __x86_64__
  if (__builtin_cpu_supports("avx2")) {
    all.push_back({"avx2", base128::encodeAvx2, base128::decodeAvx2});
  }
#endif
  return all;
}
