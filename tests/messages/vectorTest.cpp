#include "nkProtocol/vector.h"

#include <gtest/gtest.h>

namespace {

struct tItem {
  int key;
  char tag;
};
bool byKey(tItem& a, tItem& b) { return a.key > b.key; }

std::string tags(std::vector<tItem> const& list) {
  std::string text;
  for (auto const& item : list) text += item.tag;
  return text;
}

TEST(Vector, SortsStablyAndOnlyWithARule) {
  struct {
    std::vector<tItem> list;
    char const* sorted;
  } const rows[] = {{{}, ""},
                    {{{5, 'a'}, {5, 'b'}, {1, 'c'}, {5, 'd'}, {1, 'e'}}, "ceabd"},
                    {{{4, 'a'}, {3, 'b'}, {2, 'c'}, {1, 'd'}}, "dcba"}};
  for (auto const& row : rows) {
    tVector<tItem> list;
    list.assign(row.list.begin(), row.list.end());
    list.sort();
    EXPECT_EQ(tags(list), tags(row.list));
    list.sort(byKey);
    EXPECT_EQ(tags(list), row.sorted);
  }
}

TEST(Vector, GivesZeroPastItsEnd) {
  tVector<int*> list;
  int value = 7;
  list.push_back(&value);
  EXPECT_EQ(list.get(0), &value);
  EXPECT_EQ(list.get(1), nullptr);
}

struct tCounted {
  explicit tCounted(int& count) : m_count(count) { ++m_count; }
  ~tCounted() { --m_count; }
  int& m_count;
};

TEST(VectorTs, DeletesItsElementsOnlyIfItOwnsThem) {
  int alive = 0;
  tCounted kept(alive);
  for (bool const owns : {false, true}) {
    tVector_TS<tCounted*> list(owns);
    for (int round = 0; round < 2; ++round) {  // the destructor ends the second one
      EXPECT_TRUE(list.empty());
      list.push_back(owns ? new tCounted(alive) : &kept);
      list.push_back(nullptr);
      if (round == 0) list.clearVector();
    }
  }
  EXPECT_EQ(alive, 1);
}

}  // namespace
