#include "tools/common/messages.h"

#include <gtest/gtest.h>

#include "harness/hex.h"
#include "nkProtocol/controlMessages.h"

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

TEST(messages, areReadAsStrictlyAsRequests) {
  std::pair<std::string, std::string> const rows[] = {
      {std::string("\x0b\0\x01\0\x05\0\0\0", 8), ""},
      {"", "the answer is empty, or cannot be decompressed"},
      {std::string("\x0b\0\x01", 3), "the answer is cut short"},
      {std::string("\x0b\0\x01\0\x05\0\0", 7), "the answer is cut short"},
      {std::string("\x0b\0\x01\0\x05\0\0\0x", 9), "1 byte is left over"},
      {std::string("\x0b\0\x01\0\x05\0\0\0xyz", 11), "3 bytes are left over"},
      {std::string("\x0b\0\0\0\x05\0\0\0", 8), "the answer has version 0, asked in version 1"},
      {std::string("\x1d\0\x01\0", 4), "expected TIME for an answer, not GENERIC_RSP"},
      {std::string("\x63\0\x01\0", 4),
       "expected TIME for an answer, not a message of the unknown type 99"},
  };
  for (auto const& [content, expected] : rows) {
    std::string problem;
    auto const answer = nk_tools::readAnswer(harness::bytes(content), nk_message::TIME,
                                             nk_message::VERSION_1, problem);
    EXPECT_EQ(problem, expected);
    EXPECT_EQ(answer != nullptr, expected.empty()) << expected;
  }
}

}  // namespace
