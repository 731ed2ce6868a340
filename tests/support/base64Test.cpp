#include "nkSupport/base64.h"

#include <gtest/gtest.h>

#include <string>

#include "harness/hex.h"

using namespace std::string_literals;

namespace {

using harness::bytes;

TEST(base64, bytesHaveOneText) {
  // The first seven are those of RFC 4648.
  for (auto const& [text, encoded] : {std::pair{""s, ""},
                                      {"f", "Zg=="},
                                      {"fo", "Zm8="},
                                      {"foo", "Zm9v"},
                                      {"foob", "Zm9vYg=="},
                                      {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"},
                                      {"\0\0\0"s, "AAAA"},
                                      {"\xFB\xFF\xBF\xFE", "+/+//g=="}}) {
    // The text may lie in the blob that takes the bytes.
    tBlob inPlace = bytes(encoded);
    char const* const own = reinterpret_cast<char const*>(inPlace.data());
    EXPECT_EQ(base64::encode(bytes(text)).view(), encoded);
    EXPECT_TRUE(base64::decode(inPlace, {own, inPlace.size()}));
    EXPECT_EQ(inPlace, bytes(text)) << encoded;
  }
}

TEST(base64, everyLengthReadsBack) {
  for (unsigned int length = 0; length < 300; ++length) {
    tBlob const all = harness::noise(length);
    tBlob out;
    EXPECT_TRUE(base64::decode(out, base64::encode(all).view()));
    EXPECT_EQ(out, all) << length;
  }
}

TEST(base64, everythingElseIsRefused) {
  std::string const rows[] = {
      "Z",      "Zg",        "Zg=",          "Zg===",         "Zm8",    "====",     "=",
      "Z===",   "Zg==Zg==",  "Zg=a",         "=Zm9",          "Zh==",   "Zm9=",     "Zm8=Zm9v",
      "Zm9v\n", "Zm9v Zm9v", "Zm9v\r\nZg==", "Zm9v\0\0\0\0"s, "Zm9\0"s, "Zm9vZ===", "Zm9v====",
  };
  for (auto const& row : rows) {
    tBlob out("old", 3);
    EXPECT_FALSE(base64::decode(out, row)) << row;
    EXPECT_TRUE(out.empty()) << row;
  }
  // Each byte that is no digit, at each place of a group, the last one or not.
  for (unsigned int byte = 0; byte < 256; ++byte) {
    char const c = static_cast<char>(byte);
    bool const isDigit = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                         (c >= '0' && c <= '9') || c == '+' || c == '/';
    for (std::size_t at = 0; at < 8; ++at) {
      std::string text = "AAAAAAAA";
      text[at] = c;
      tBlob out;
      EXPECT_EQ(base64::decode(out, text), isDigit || (c == '=' && at == 7)) << byte << ' ' << at;
    }
  }
}

}  // namespace
