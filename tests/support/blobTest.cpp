#include "nkSupport/tBlob.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using tModel = std::vector<unsigned char>;

bool same(tBlob const& blob, tModel const& model) {
  return blob.size() == model.size() && blob.empty() == model.empty() &&
         std::equal(model.begin(), model.end(), blob.data());
}

// Random operations on a blob and on a vector, held against each other after each.
TEST(tBlob, behavesAsAVectorDoes) {
  for (unsigned int seed = 0; seed < 50; ++seed) {
    std::mt19937 random(seed);
    auto const upTo = [&](unsigned int most) {
      return static_cast<unsigned int>(random()) % (most + 1);
    };
    tBlob blob;
    tModel model;
    unsigned char next = 0;
    for (int step = 0; step < 400; ++step) {
      unsigned int const kind = upTo(9);
      unsigned int const count = upTo(kind == 0 ? 300 : 40);
      tModel bytes(count);
      for (auto& byte : bytes) byte = next++;
      auto const size = static_cast<unsigned int>(model.size());
      auto const end = model.end();
      switch (kind) {
        case 0:
        case 1:
          ASSERT_TRUE(blob.append(bytes.data(), count));
          model.insert(end, bytes.begin(), bytes.end());
          break;
        case 2:
          ASSERT_TRUE(blob.prepend(bytes.data(), count));
          model.insert(model.begin(), bytes.begin(), bytes.end());
          break;
        case 3: {
          unsigned char* const to = blob.extend(count);
          ASSERT_NE(to, nullptr);
          std::copy(bytes.begin(), bytes.end(), to);
          model.insert(end, bytes.begin(), bytes.end());
          break;
        }
        case 4:
        case 5:
          blob.slice(3 * count);
          model.erase(model.begin(), model.begin() + std::min(3 * count, size));
          break;
        case 6:
          blob.truncate(size - std::min(size, count));
          model.resize(size - std::min(size, count));
          break;
        case 7: {  // bytes of its own
          unsigned int const from = upTo(size), length = upTo(std::min(size - from, 100U));
          tModel const own(model.begin() + from, model.begin() + from + length);
          ASSERT_TRUE(blob.append(blob.data() + from, length));
          model.insert(model.end(), own.begin(), own.end());
          break;
        }
        case 8:
          ASSERT_TRUE(blob.reserve(10 * count));
          break;
        default:
          if (upTo(20) == 0) {
            upTo(1) == 0 ? blob.clear() : blob.release();
            model.clear();
          }
      }
      ASSERT_TRUE(same(blob, model)) << "seed " << seed << ", step " << step;
    }
    auto const found = std::find(model.begin(), model.end(), next);
    EXPECT_EQ(blob.getIndexOf(next), found == model.end() ? tBlob::npos : found - model.begin());
  }
}

// A receive buffer that is appended to and sliced for ever. What it costs shows in how often its
// bytes come to lie elsewhere: each such move costs its size.
TEST(tBlob, costsNoMoreThanItsBytes) {
  for (unsigned int const left : {0U, 1U, 100U, 4032U, 5000U}) {  // bytes that stay in the buffer
    tBlob blob;
    std::string const chunk(64, 'x');
    unsigned long long moved = 0, appended = 0;
    for (int round = 0; round < 20000; ++round) {
      unsigned char const* const before = blob.data();
      unsigned int const size = blob.size();
      ASSERT_TRUE(blob.append(chunk.data(), 64));
      appended += 64;
      if (blob.data() != before) moved += size;
      if (blob.size() <= left) continue;
      unsigned char const* const behind = blob.data() + (blob.size() - left);
      blob.slice(blob.size() - left);
      if (left != 0 && blob.data() != behind) moved += left;
    }
    EXPECT_LE(moved, 2 * appended) << left;
  }
  // Growing alone: it moves O(log n) times.
  tBlob grown;
  int moves = 0;
  for (int i = 0; i < 1000000; ++i) {
    unsigned char const* const before = grown.data();
    grown.append("x", 1);
    moves += grown.data() != before ? 1 : 0;
  }
  EXPECT_LE(moves, 20);
}

TEST(tBlob, holdsNoMoreThanItsLimitAndKeepsItsBytesThen) {
  tBlob blob("abc", 3);
  tModel const bytes{'a', 'b', 'c'};
  EXPECT_FALSE(blob.reserve(tBlob::maxSize + 1));
  EXPECT_FALSE(blob.reserve(0xFFFFFFFF));
  for (unsigned int const size :
       {tBlob::maxSize - 2, tBlob::maxSize, 0x80000000U, 0xFFFFFFFDU, 0xFFFFFFFEU}) {
    EXPECT_EQ(blob.extend(size), nullptr) << size;
    blob.slice(1);
    EXPECT_EQ(blob.extend(size + 1), nullptr) << size;
    EXPECT_TRUE(blob.prepend("a", 1));
    EXPECT_TRUE(same(blob, bytes));
  }
  // Writing nothing succeeds, on an empty blob too.
  tBlob empty;
  EXPECT_NE(empty.extend(0), nullptr);
  EXPECT_TRUE(empty.append(nullptr, 0));
  EXPECT_TRUE(empty.prepend(nullptr, 0));
  EXPECT_TRUE(empty.empty());
}

TEST(tBlob, findsBytesFromAnyPlace) {
  tBlob blob("xabcabc", 7);
  blob.slice(1);
  EXPECT_EQ(blob.getIndexOf('a'), 0U);
  EXPECT_EQ(blob.getIndexOf('a', 1), 3U);
  EXPECT_EQ(blob.getIndexOf('c', 5), 5U);
  EXPECT_EQ(blob.getIndexOf('x'), tBlob::npos);
  EXPECT_EQ(blob.getIndexOf('a', 6), tBlob::npos);
  EXPECT_EQ(blob.getIndexOf('a', tBlob::npos), tBlob::npos);
  EXPECT_EQ(tBlob().getIndexOf(0), tBlob::npos);
}

TEST(tBlob, copiesLeaveTheSourceAndMovesEmptyIt) {
  tBlob const source("abc", 3), null(static_cast<tBlob const*>(nullptr));
  tModel const bytes{'a', 'b', 'c'};
  tBlob pointed(&source), copy(source), assigned("something longer", 16);
  assigned = source;
  pointed.append("d", 1);
  assigned = *&assigned;
  EXPECT_TRUE(null.empty());
  EXPECT_TRUE(same(source, bytes));
  EXPECT_TRUE(same(copy, bytes));
  EXPECT_TRUE(same(assigned, bytes));
  EXPECT_EQ(assigned, copy);
  EXPECT_FALSE(pointed == copy);
  EXPECT_FALSE(tBlob("abd", 3) == copy);
  EXPECT_EQ(tBlob(), null);
  tBlob moved(std::move(copy));
  EXPECT_TRUE(same(moved, bytes));
  EXPECT_TRUE(copy.empty());  // NOLINT: empty by contract
  copy = std::move(moved);
  EXPECT_TRUE(moved.empty());  // NOLINT
  moved.append("x", 1);
  moved.swap(copy);
  EXPECT_TRUE(same(moved, bytes));
  EXPECT_EQ(copy, tBlob("x", 1));
}

}  // namespace
