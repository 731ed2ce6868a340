#pragma once

#include <random>
#include <vector>

/// `length` bytes, the same at every call, and others for another length.
inline std::vector<unsigned char> randomBytes(unsigned int length) {
  std::minstd_rand random(length + 1);
  std::vector<unsigned char> bytes(length);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(random() >> 8);
  return bytes;
}
