#include "nkSupport/tString.h"

#include <gtest/gtest.h>

#include <climits>

#include "nkSupport/tStringList.h"

namespace {

TEST(tString, readsDecimalNumbers) {
  std::pair<char const*, int> const numbers[] = {
      {"-0", 0}, {"+7", 7}, {"007", 7}, {"2147483647", INT_MAX}, {"-2147483648", INT_MIN}};
  for (auto const& [text, number] : numbers) EXPECT_EQ(tString(text).toIntDef(99), number) << text;
  for (char const* const text : {"2147483648", "-2147483649", "99999999999999999999", "", "+", "-",
                                 "+-5", "-+5", " 5", "5 ", "5x", "0x10", "1.0"})
    EXPECT_EQ(tString(text).toIntDef(99), 99) << text;
  EXPECT_EQ(tString("5\0", 2).toIntDef(99), 99);
}

TEST(tString, writesDecimalNumbers) {
  EXPECT_EQ(tString::fromUInt64(ULLONG_MAX), "18446744073709551615");
  EXPECT_EQ(tString::fromInt64(LLONG_MIN), "-9223372036854775808");
}

TEST(tString, splitsAtTheFirstSeparator) {
  struct {
    char const *text, *separator, *before, *after;
  } const rows[] = {{"2024-03-01", "-", "2024", "03-01"},
                    {"key: value", ": ", "key", "value"},
                    {"abc", "-", "abc", ""},
                    {"abc", "", "abc", ""},
                    {"-", "-", "", ""},
                    {"ab", "abc", "ab", ""},
                    {"aaab", "aab", "a", ""}};
  for (auto const& row : rows) {
    EXPECT_EQ(tString(row.text).strBefor(row.separator), row.before) << row.text;
    EXPECT_EQ(tString(row.text).strAfter(row.separator), row.after) << row.text;
  }
  EXPECT_EQ(tString("a\0b\0c", 5).strAfter(tString("\0", 1)), tString("b\0c", 3));
}

TEST(tString, completesPaths) {
  for (auto const& [path, complete] : {std::pair{"", ""}, {"/", "/"}, {"a", "a/"}, {"a/", "a/"}})
    EXPECT_EQ(tString(path).completePath(), complete);
}

TEST(tString, holdsAnyBytesAndComparesThemUnsigned) {
  tString text("a\0\xFF", 3);
  EXPECT_EQ(text.length(), 3U);
  EXPECT_NE(text, "a");
  EXPECT_LT(tString("a"), text);
  EXPECT_LT(tString("\x7F"), tString("\x80"));
  EXPECT_FALSE(text < text);
  text += text;
  EXPECT_EQ(text + "x", tString("a\0\xFF\141\0\xFFx", 7));
  text.assign(nullptr, 0);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(tString(static_cast<char const*>(nullptr)), "");
}

TEST(tStringList, keepsOrderAndMayBeAddedToItself) {
  tStringList list;
  for (char const* const text : {"a", "", "b"}) list.add(tString(text));
  list.add(list);
  std::string all;
  for (tString const& text : list) all += std::string(text.view()) + ",";
  EXPECT_EQ(all, "a,,b,a,,b,");
  EXPECT_TRUE(list.count() == 6 && list.get(5) == "b");
  EXPECT_TRUE(list.get(6).empty() && list.get(UINT_MAX).empty());
}

}  // namespace
