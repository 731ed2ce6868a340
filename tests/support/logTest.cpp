#include "nkSupport/tLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tLines = std::vector<std::string>;

void keep(void* context, char const* text) { static_cast<tLines*>(context)->push_back(text); }

TEST(tLog, handsOnWhatItFormats) {
  tLines lines;
  tLog log(&lines, keep);
  std::string const line(1023, 'x');
  log.log("%s has %u of %lld", "a", 4294967295U, -1LL);
  log.log("%s", "");
  log.log("%s", line.c_str());
  log.log("%sy", line.c_str());
  char const* const noFormat = nullptr;
  log.log(noFormat);
  EXPECT_EQ(lines, (tLines{"a has 4294967295 of -1", "", line, line}));
}

struct tCounting : tLog {
  using tLog::logEnabled;
  using tLog::tLog;
};

TEST(tLog, formatsNothingWithoutAnOutput) {
  tCounting silent(nullptr, nullptr), loud(nullptr, [](void*, char const*) {});
  EXPECT_FALSE(silent.logEnabled());
  EXPECT_TRUE(loud.logEnabled());
  int formatted = -1;
  silent.log("%s%n", "never read", &formatted);  // %n would tell that it was formatted
  EXPECT_EQ(formatted, -1);
}

}  // namespace
