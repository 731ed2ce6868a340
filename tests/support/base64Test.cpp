#include "nkSupport/base64.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace {

tBlob blob(std::string const& bytes) {
  return tBlob(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

TEST(base64, bytesHaveOneText) {
  struct {
    std::string bytes, text;
  } const rows[] = {
      // RFC 4648, section 10
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\0\0\0"s, "AAAA"},
      {"\xFB\xFF\xBF\xFE", "+/+//g=="},
  };
  for (auto const& row : rows) {
    tBlob out("old", 3);
    EXPECT_EQ(base64::encode(blob(row.bytes)).view(), row.text);
    EXPECT_TRUE(base64::decode(out, row.text)) << row.text;
    EXPECT_EQ(out, blob(row.bytes)) << row.text;
  }
}

TEST(base64, everyLengthReadsBack) {
  tBlob bytes, out;
  for (unsigned int length = 0; length < 300; ++length) {
    EXPECT_TRUE(base64::decode(out, base64::encode(bytes).view()));
    EXPECT_EQ(out, bytes) << length;
    unsigned char const next = static_cast<unsigned char>(length * 89);
    bytes.append(&next, 1);
  }
  // The text may lie in the blob that takes the bytes.
  tString const text = base64::encode(bytes);
  tBlob inPlace(text.c_str(), text.length());
  EXPECT_TRUE(
      base64::decode(inPlace, {reinterpret_cast<char const*>(inPlace.data()), inPlace.size()}));
  EXPECT_EQ(inPlace, bytes);
}

TEST(base64, everythingElseIsRefused) {
  std::string const rows[] = {
      "Z",        "Zg",        "Zg=",           "Zg===",        "Zm8",  "====",
      "=",        "Z===",      "Zg==Zg==",      "Zm8=Zm9v",     "Zg=a", "=Zm9",
      "Zm9v\n",   "Zm9v Zm9v", "Zm\n9",         "Zm9v\r\nZg==", "Zm9-", "Zm_v",
      "Zm9\x80",  "\xFFm9v",   "Zm9v\0\0\0\0"s, "Zm9\0"s,       "Zh==", "Zm9=",
      "Zm9vZ===", "Zm9v====",  "Z:9v",          "[m9v",         "Zm9{", "Zm@v",
  };
  for (auto const& row : rows) {
    tBlob out("old", 3);
    EXPECT_FALSE(base64::decode(out, row)) << row;
    EXPECT_TRUE(out.empty()) << row;
  }
  // Each byte that is no digit, at each place of a group.
  for (unsigned int byte = 0; byte < 256; ++byte) {
    char const c = static_cast<char>(byte);
    bool const isDigit = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                         (c >= '0' && c <= '9') || c == '+' || c == '/';
    for (std::size_t at = 0; at < 4; ++at) {
      std::string text = "AAAAAAAA";
      text[at] = c;
      tBlob out;
      EXPECT_EQ(base64::decode(out, text), isDigit) << byte << ' ' << at;
    }
  }
}

}  // namespace
