#pragma once

#include <vector>

#include "nkSupport/export.h"

/// A list of unsigned 64-bit ids: a vector under a name of its own. Not synchronised.
class tUidList : public std::vector<unsigned long long> {
 public:
  using std::vector<unsigned long long>::vector;
};
