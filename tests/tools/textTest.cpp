#include "tools/common/text.h"

#include <gtest/gtest.h>

#include "tools/common/program.h"

namespace {

TEST(text, goesOutAsWellFormedUtf8) {
  struct {
    std::string text, printable, json;
  } const rows[] = {
      {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80", "grüß € 😀", "grüß € 😀"},
      {"\x1b[2J\x7f", "?[2J?", "\x1b[2J\\u007f"},  // JSON has escaped C0 before
      {"\xc2\x9b\x9b", "??", "\\u009b\\uef9b"},
      {"\xe2\x80\x8e\xe2\x80\x8f\xd8\x9c", "???", "\\u200e\\u200f\\u061c"},
      // NOLINTNEXTLINE(misc-misleading-bidirectional): the source has escapes only
      {"\xe2\x80\xaa\xe2\x80\xae\xe2\x81\xa6\xe2\x81\xa9", "????", "\\u202a\\u202e\\u2066\\u2069"},
      {"\xe2\x80\xa8\xe2\x80\xa9\xef\xbb\xbf", "???", "\\u2028\\u2029\\ufeff"},
      {"\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa", "‧\xe2\x80\xaf\xe2\x81\xaa",
       "‧\xe2\x80\xaf\xe2\x81\xaa"},  // the neighbours of these ranges
      {"caf\xe9", "caf?", "caf\\uefe9"},
      {"\xee\xbe\x80", "\xee\xbe\x80", "\\uefee\\uefbe\\uef80"},  // U+EF80 itself
      {"\xee\xbd\xbf", "\xee\xbd\xbf", "\xee\xbd\xbf"},           // U+EF7F
      {"\xc0\x80\xed\xa0\x80", "?????", "\\uefc0\\uef80\\uefed\\uefa0\\uef80"},
      {"\xf4\x90\x80\x80\xe2\x82", "??????", "\\ueff4\\uef90\\uef80\\uef80\\uefe2\\uef82"},
      {"\xe0\x9f\xbf\xff", "????", "\\uefe0\\uef9f\\uefbf\\uefff"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(nk_tools::printable(row.text), row.printable);
    EXPECT_EQ(nk_tools::strictJson("{\"t\":\"" + row.text + "\"}"), "{\"t\":\"" + row.json + "\"}");
  }
}

TEST(text, ofTheEngineHasIdsWithoutSign) {
  testing::internal::CaptureStderr();
  nk_tools::sayEngine(nullptr,
                      "received (-1 -> -682579309; own address: -2), 5-7 NOT-a -x (id: 9)");
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      ": received (4294967295 -> 3612387987; own address: 4294967294), 5-7 NOT-a -x (id: 9)\n");
}

TEST(text, keepsWideNumbersOfJson) {
  std::pair<std::string, std::string> const rows[] = {
      {R"({"uid":7,"id":8})", R"({"uid":"7","id":8})"},
      {R"({"a":[{"imageUid":18446744073709551615}],"extState":0})",
       R"({"a":[{"imageUid":"18446744073709551615"}],"extState":"0"})"},
      {R"({"x":9007199254740992,"y":9007199254740993,"z":-9007199254740993})",
       R"({"x":9007199254740992,"y":"9007199254740993","z":"-9007199254740993"})"},
      {R"({"t":"\",\"uid\":5,\\","uid":"5"})", R"({"t":"\",\"uid\":5,\\","uid":"5"})"},
      {R"({"uid":[1],"b":true})", R"({"uid":[1],"b":true})"},
      {"{}", "{}"},
      {"{\"cut", "{\"cut"},
      {"{\"cut\\", "{\"cut\\"},
  };
  for (auto const& [json, strict] : rows) EXPECT_EQ(nk_tools::strictJson(json), strict);
}

}  // namespace
