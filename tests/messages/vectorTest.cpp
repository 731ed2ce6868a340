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
  struct tRow {
    std::vector<tItem> list;
    char const* sorted;
  };
  for (tRow const& row : {tRow{{}, ""}, tRow{{{1, 'a'}}, "a"}, tRow{{{2, 'a'}, {1, 'b'}}, "ba"},
                          tRow{{{5, 'a'}, {5, 'b'}, {1, 'c'}, {5, 'd'}, {1, 'e'}}, "ceabd"},
                          tRow{{{4, 'a'}, {3, 'b'}, {2, 'c'}, {1, 'd'}}, "dcba"}}) {
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
  {
    tVector_TS<tCounted*> borrowing(false);
    borrowing.push_back(&kept);
    borrowing.clearVector();
    EXPECT_TRUE(borrowing.empty());
  }
  EXPECT_EQ(alive, 1);
  {
    tVector_TS<tCounted*> owning(true);
    for (int i = 0; i < 2; ++i) owning.push_back(new tCounted(alive));
    owning.push_back(nullptr);
    owning.clearVector();
    EXPECT_EQ(alive, 1);
    owning.push_back(new tCounted(alive));
  }
  EXPECT_EQ(alive, 1);
}

}  // namespace
