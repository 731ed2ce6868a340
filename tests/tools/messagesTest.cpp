#include "tools/common/messages.h"

#include <gtest/gtest.h>

namespace {

// Standard output is where the programs print answers: nothing else may get there.
TEST(messages, showsContentOfEveryTypeAndNeverPrints) {
  for (unsigned int number = 0; number < 300; ++number) {
    unsigned char const bytes[] = {static_cast<unsigned char>(number),
                                   static_cast<unsigned char>(number >> 8), 0, 0};
    tBlob content(bytes, sizeof bytes);
    testing::internal::CaptureStdout();
    auto const json = nk_tools::contentJson(content);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << number;
    // All answers but this one have a body; one that is cut short is no answer.
    bool const isMessage = number == nk_message::SHUTDOWN;
    EXPECT_EQ(json.view().starts_with(isMessage ? R"({"action":)" : R"({"content":)"), true)
        << number;
  }
}

}  // namespace
