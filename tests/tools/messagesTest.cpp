#include "tools/common/messages.h"

#include <gtest/gtest.h>

namespace {

// Standard output is where the programs print answers: nothing else may get there.
TEST(messages, readsEveryTypeWithAClassAndNeverPrints) {
  for (unsigned int number = 0; number < 300; ++number) {
    unsigned char const bytes[] = {static_cast<unsigned char>(number),
                                   static_cast<unsigned char>(number >> 8), 0, 0};
    tBlob content(bytes, sizeof bytes);
    testing::internal::CaptureStdout();
    auto const read = nk_tools::readMessage(content);
    auto const json = nk_tools::messageJson(content);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << number;
    testing::internal::CaptureStdout();
    std::unique_ptr<nk_message> const made(nk_message::getMessage(&content));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(bool(read), bool(made)) << number;
    EXPECT_EQ(nk_tools::messageType(content), number);
    EXPECT_EQ(json.view().starts_with(read ? R"({"action":)" : R"({"content":)"), true) << number;
  }
  tBlob brief("\x0b\0\0", 3);
  EXPECT_EQ(nk_tools::readMessage(brief), nullptr);
}

}  // namespace
