#include "tools/common/program.h"

#include <cstdio>
#include <string>

void nk_tools::say(std::string_view text) {
  std::string line(programName);
  line.append(": ").append(text).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);  // in one piece, so that lines stay whole
}
