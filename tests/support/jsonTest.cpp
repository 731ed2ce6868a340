#include "nkSupport/tJson.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

using namespace std::string_literals;

namespace {

std::string text(tJson const& json, bool pretty = false) {
  return std::string(json.getJson(pretty).view());
}

std::string repeated(std::string const& piece, unsigned int times) {
  std::string all;
  for (unsigned int i = 0; i < times; ++i) all += piece;
  return all;
}

// An object of `depth` levels, the object itself counted.
std::string nested(unsigned int depth) {
  return "{\"a\":" + repeated("[", depth - 1) + repeated("]", depth - 1) + "}";
}

// What was read is printed as `printed`, and that reads back as the same.
void expectRead(std::string const& source, std::string const& printed) {
  tJson json, again;
  EXPECT_TRUE(json.parse(source)) << source;
  EXPECT_EQ(text(json), printed);
  EXPECT_TRUE(again.parse(text(json, true)));
  EXPECT_EQ(text(again), printed);
}

TEST(tJson, readsOneObject) {
  std::pair<std::string, std::string> const rows[] = {
      {" \t\r\n{ \"a\" : [ 1 , { } , [ ] ] } \n", R"({"a":[1,{},[]]})"},
      {R"({"a":0,"b":-0,"c":-1,"d":1.5,"e":1e3,"f":-2.5E-3})",
       R"({"a":0,"b":0,"c":-1,"d":1.5,"e":1000.0,"f":-0.0025})"},
      {R"({"a":18446744073709551616})", R"({"a":18446744073709551616.0})"},
      {R"({"a":0.0000000000000e-2147483639})", R"({"a":0.0})"},
      {R"({"":"\"\\\/\b\f\n\r\t\u0041\u00e4\u20ac\ud83d\ude00"})",
       R"({"":"\"\\/\b\f\n\r\tA)"
       "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"}"},
      {R"({"a\u0000b":"\u0000\u001f"})", R"({"a\u0000b":"\u0000\u001F"})"},
  };
  for (auto const& [text, printed] : rows) expectRead(text, printed);
  for (std::string const& same :
       {"{}"s, R"({"a":null,"b":true,"c":false})"s,
        R"({"a":-9223372036854775808,"b":18446744073709551615})"s, "{\"a\":\"\x7F\x80\xFF\xC3\"}"s,
        nested(64), repeated("{\"a\":", 64) + "1" + repeated("}", 64),
        "{\"a\":[" + repeated("[],{},", 100) + "[]]}",
        R"({"a":"[[[[)" + repeated("[\\\"{", 100) + "\"}"}) {
    expectRead(same, same);
  }
}

TEST(tJson, refusesEverythingElse) {
  for (std::string const& text :
       {// numbers
        R"({"a":1e999999})"s, R"({"a":9e308})"s, R"({"a":1e99999999999999999999})"s,
        "{\"a\":" + repeated("9", 400) + "}", R"({"a":01})"s, R"({"a":+1})"s, R"({"a":.5})"s,
        R"({"a":1.})"s, R"({"a":1e})"s, R"({"a":0x1})"s, R"({"a":-})"s, R"({"a":NaN})"s,
        R"({"a":Infinity})"s,
        // texts
        R"({"a":"\ud800"})"s, R"({"a":"\ud800\u0041"})"s, R"({"a":"\u12g4"})"s, R"({"a":"\x41"})"s,
        "{\"a\":\"\n\"}"s, "{\"a\":\"\x1F\"}"s, "{\"a\":\"\0\"}"s,
        // what is no object, or more than one
        ""s, " "s, "[]"s, "1"s, "\"a\""s, "null"s, "\xEF\xBB\xBF{}"s, "{}{}"s, "{} x"s, "{},"s,
        "{}\0"s, "{}\0{}"s, "\0{}"s,
        // broken
        "{"s, "}"s, R"({"a")"s, R"({"a":)"s, R"({"a":1)"s, R"({"a":"x)"s, R"({"a":"x\)"s,
        R"({"a":[1,2})"s, R"({"a":[1,]})"s, R"({"a":1,})"s, R"({,})"s, R"({a:1})"s, R"({'a':1})"s,
        R"({"a" 1})"s, R"({"a":1 "b":2})"s, R"({"a":tru})"s, R"({"a":1}/**/)"s,
        // depth
        nested(65), repeated("{\"a\":", 65) + "1" + repeated("}", 65), repeated("[", 1000000),
        repeated("{\"a\":", 1000000), nested(1000000)}) {
    tJson json;
    json.addInt("old", 1);
    EXPECT_FALSE(json.parse(text)) << text.substr(0, 200);
    EXPECT_EQ(json.getJson(false), "{}");
  }
}

TEST(tJson, refusesEveryPrefixOfAText) {
  std::string const whole = R"({"a":[1,-2.5e1,"x\u00e4\n",{"b":null}],"c":{"d":[true,false]}})";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    // In memory of exactly that size, so that a byte read past the end is seen.
    std::vector<char> const prefix(whole.begin(), whole.begin() + static_cast<int>(length));
    EXPECT_FALSE(tJson().parse({prefix.data(), prefix.size()})) << length;
  }
  EXPECT_TRUE(tJson().parse(whole));
}

TEST(tJson, printsMembersInTheOrderAdded) {
  tStringList list;
  for (char const* const one : {"x", ""}) list.add(tString(one));
  tJson json, inner;
  inner.addInt("i", 1);
  json.addString("text", "a\"b\\c\x01\xC3\xA4/");
  EXPECT_EQ(json.addInt("low", LLONG_MIN), LLONG_MIN);
  EXPECT_EQ(json.addUInt64("high", ULLONG_MAX), ULLONG_MAX);
  json.addBool("yes", true);
  json.addBinary("bytes", tBlob("\x00\xFF", 2));
  json.addStringArray("list", list);
  json.addToArray("objects", inner);
  json.addToArray("objects", tJson());
  json.addStringArray("none", tStringList());
  EXPECT_EQ(text(json), R"({"text":"a\"b\\c\u0001)"
                        "\xC3\xA4"
                        R"(/","low":-9223372036854775808,"high":18446744073709551615,"yes":true,)"
                        R"("bytes":"AP8=","list":["x",""],"objects":[{"i":1},{}],"none":[]})");
  EXPECT_EQ(json.addInt("text", 2), 2);  // keeps its place
  json.addBool("none", false);
  json.addToArray("yes", inner);  // no array so far
  EXPECT_EQ(text(json),
            R"({"text":2,"low":-9223372036854775808,"high":18446744073709551615,"yes":[{"i":1}],)"
            R"("bytes":"AP8=","list":["x",""],"objects":[{"i":1},{}],"none":false})");
}

TEST(tJson, indentsByFourBlanks) {
  tJson json;
  ASSERT_TRUE(json.parse(R"({"a":{},"b":[],"c":[1,{"d":"x"}]})"));
  EXPECT_EQ(text(json, true), R"({
    "a": {},
    "b": [],
    "c": [
        1,
        {
            "d": "x"
        }
    ]
})");
}

TEST(tJson, givesIntegersOfAllBitsAndFallsBackOnTheRest) {
  tJson json;
  ASSERT_TRUE(json.parse(
      R"({"v":[{"k":-1},{"k":18446744073709551615},{"k":-9223372036854775808},)"
      R"({"k":9223372036854775808},{"k":18446744073709551616},{"k":-9223372036854775809},)"
      R"({"k":1.0},{"k":"12"},{"k":true},{"k":null},{"k":[1]},{"k":{}}]})"));
  long long const read[] = {-1, -1, LLONG_MIN, LLONG_MIN, 7, 7, 7, 7, 7, 7, 7, 7};
  for (unsigned int i = 0; i < std::size(read); ++i) {
    tJson row;
    ASSERT_TRUE(json.getArrayObject("v", i, row));
    EXPECT_EQ(row.getInt("k", 7), read[i]) << i;
    EXPECT_TRUE(row.has("k"));
    EXPECT_EQ(row.getBool("k", false), i == 8) << i;
    EXPECT_EQ(row.getString("k"), i == 7 ? "12" : "") << i;
  }
}

TEST(tJson, missingMembersAndOtherKindsGiveTheDocumentedValues) {
  tJson json;
  ASSERT_TRUE(json.parse(R"({"i":1,"a":["x",1,null,"y"],"bad":"QQ=","k":"first","k":"second"})"));
  tStringList list;
  EXPECT_TRUE(json.getStringArray("a", list));
  ASSERT_EQ(list.count(), 4U);
  EXPECT_TRUE(list.get(0) == "x" && list.get(1).empty() && list.get(3) == "y");
  for (char const* key : {"i", "missing", "bad"}) {
    tBlob bytes("old", 3);
    tJson object(json);
    EXPECT_FALSE(json.getBinary(key, bytes) || json.getStringArray(key, list) ||
                 json.getArrayObject(key, 0, object));
    EXPECT_TRUE(bytes.empty() && list.count() == 0 && json.getArraySize(key) == 0) << key;
    EXPECT_EQ(text(object), "{}");
    list.add(tString("old"));
  }
  EXPECT_EQ(json.getString("k"), "first");
  EXPECT_FALSE(json.has("missing") || tJson().has("missing"));
  EXPECT_TRUE(json.getBool("missing", true) && json.getInt("missing", -5) == -5);
}

TEST(tJson, carriesAnyBytes) {
  // The printer looks at several bytes at a time: each place for an escape, each length.
  tJson json, read;
  for (unsigned int length = 1; length < 20; ++length) {
    for (unsigned int at = 0; at < length; ++at) {
      for (char const odd : {'"', '\\', '\x1F', '\0', 'a'}) {
        std::string content(length, '\x80');
        content[at] = odd;
        json.addString("text", tString(std::string_view(content)));
        ASSERT_TRUE(read.parse(json.getJson(false).view())) << length << ' ' << at;
        EXPECT_EQ(read.getString("text").view(), content);
      }
    }
  }
}

TEST(tJson, copiesAreIndependentAndMovedFromIsEmpty) {
  tJson first, assigned, element;
  ASSERT_TRUE(first.parse(R"({"a":[{"b":"a text too long to be held in place"}]})"));
  std::string const before = text(first);
  tJson copy(first);
  assigned = first;
  first.addInt("a", 1);
  copy = *&copy;
  EXPECT_TRUE(text(copy) == before && text(assigned) == before);
  tJson taken(std::move(copy));
  EXPECT_TRUE(text(taken) == before && text(copy) == "{}" && !copy.has("a"));  // NOLINT
  copy.addInt("x", 1);
  taken.addToArray("a", std::move(copy));
  EXPECT_EQ(text(copy), "{}");  // NOLINT: empty by contract
  copy.addToArray("a", std::move(copy));
  EXPECT_TRUE(taken.getArrayObject("a", 1, element) && text(element) == R"({"x":1})");
  EXPECT_FALSE(taken.getArrayObject("a", 2, element));
}

TEST(tJson, takesPartsOfItself) {
  tJson json;
  ASSERT_TRUE(json.parse(R"({"a":[{"inner":"{\"x\":1}"}]})"));
  json.addToArray("a", json);
  EXPECT_EQ(json.getArraySize("a"), 2U);
  EXPECT_TRUE(json.getArrayObject("a", 0, json));
  EXPECT_EQ(text(json), R"({"inner":"{\"x\":1}"})");
  tString const held = json.getString("inner");
  EXPECT_TRUE(json.parse(held.view()));
  EXPECT_EQ(text(json), R"({"x":1})");
}

// A search from the front for each element would take 4 * 10^10 steps here.
TEST(tJson, walksALongArrayBehindManyMembers) {
  constexpr unsigned int count = 200000;
  std::string hostile = "{";
  for (unsigned int i = 0; i < count; ++i) hostile += "\"j" + std::to_string(i) + "\":0,";
  hostile += "\"list\":[" + repeated("{\"i\":1},", count - 1) + "{\"i\":1}]}";
  tJson json, element;
  ASSERT_TRUE(json.parse(hostile));
  unsigned int index = 0;
  while (json.getArrayObject("list", index, element)) index += element.getInt("i", 0) == 1;
  EXPECT_EQ(index, count);
  for (unsigned int i = 0; i < count; ++i) json.addToArray("list", tJson());
  EXPECT_EQ(json.getArraySize("list"), 2 * count);
  json.addInt("j0", 3);  // found again after another member was
  EXPECT_EQ(json.getInt("j0", 0), 3);
}

}  // namespace
