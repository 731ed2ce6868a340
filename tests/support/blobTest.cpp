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

// Does something to both, chosen by `random`; whether it succeeded.
bool change(tBlob& blob, tModel& model, std::mt19937& random) {
  auto const upTo = [&](unsigned int most) { return unsigned(random()) % (most + 1); };
  auto const end = model.end();
  unsigned int const size = blob.size();
  unsigned int const count = upTo(upTo(9) == 0 ? 300 : 40);
  tModel bytes(count);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
  switch (upTo(7)) {
    case 0:
      model.insert(end, bytes.begin(), bytes.end());
      return blob.append(bytes.data(), count);
    case 1:
      model.insert(model.begin(), bytes.begin(), bytes.end());
      return blob.prepend(bytes.data(), count);
    case 2: {
      model.insert(end, bytes.begin(), bytes.end());
      unsigned char* const to = blob.extend(count);
      return to != nullptr && std::copy(bytes.begin(), bytes.end(), to) != nullptr;
    }
    case 3:
      model.erase(model.begin(), model.begin() + std::min(3 * count, size));
      return blob.slice(3 * count), true;
    case 4:
      model.resize(size - std::min(size, count));
      return blob.truncate(size - std::min(size, count)), true;
    case 5: {  // bytes of its own
      unsigned int const from = upTo(size), length = upTo(std::min(size - from, 100U));
      bytes.assign(model.begin() + from, model.begin() + from + length);
      model.insert(end, bytes.begin(), bytes.end());
      return blob.append(blob.data() + from, length);
    }
    case 6:
      return blob.reserve(10 * count);
    default:
      if (upTo(20) != 0) return true;
      upTo(1) == 0 ? blob.clear() : blob.release();
      return model.clear(), true;
  }
}

TEST(tBlob, behavesAsAVectorDoes) {
  for (unsigned int seed = 0; seed < 50; ++seed) {
    std::mt19937 random(seed);
    tBlob blob;
    tModel model;
    for (int step = 0; step < 400; ++step) {
      ASSERT_TRUE(change(blob, model, random)) << "seed " << seed << ", step " << step;
      ASSERT_TRUE(same(blob, model)) << "seed " << seed << ", step " << step;
      auto const from = static_cast<unsigned int>(model.size() / 3);
      auto const found = std::find(model.begin() + from, model.end(), step % 256);
      auto const index = static_cast<unsigned int>(found - model.begin());
      ASSERT_EQ(blob.getIndexOf(static_cast<unsigned char>(step), from),
                found == model.end() ? tBlob::npos : index);
    }
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
      if (blob.size() > left) blob.slice(blob.size() - left);
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
  EXPECT_FALSE(blob.reserve(tBlob::maxSize + 1) || blob.reserve(0xFFFFFFFF));
  for (unsigned int const size : {tBlob::maxSize - 2, 0x80000000U, 0xFFFFFFFDU, 0xFFFFFFFEU}) {
    EXPECT_EQ(blob.extend(size), nullptr) << size;
    blob.slice(1);
    EXPECT_EQ(blob.extend(size + 1), nullptr) << size;
    EXPECT_TRUE(blob.prepend("a", 1) && blob == tBlob("abc", 3));
  }
  // Writing nothing succeeds, on an empty blob too.
  tBlob empty;
  EXPECT_NE(empty.extend(0), nullptr);
  EXPECT_TRUE(empty.append(nullptr, 0) && empty.prepend(nullptr, 0) && empty.empty());
  EXPECT_EQ(blob.getIndexOf('a', tBlob::npos), tBlob::npos);
  EXPECT_EQ(tBlob().getIndexOf(0), tBlob::npos);
}

TEST(tBlob, copiesLeaveTheSourceAndMovesEmptyIt) {
  tBlob const source("abc", 3), null(static_cast<tBlob const*>(nullptr));
  tBlob pointed(&source), copy(source), assigned("something longer", 16);
  assigned = source;
  pointed.append("d", 1);
  assigned = *&assigned;
  EXPECT_TRUE(same(source, {'a', 'b', 'c'}));
  EXPECT_TRUE(assigned == source && copy == source && tBlob() == null);
  EXPECT_FALSE(pointed == copy || tBlob("abd", 3) == copy);
  tBlob moved(std::move(copy));
  EXPECT_TRUE(copy.empty() && moved == source);  // NOLINT: empty by contract
  copy = std::move(moved);
  EXPECT_TRUE(moved.empty() && copy == source);  // NOLINT
  moved.append("x", 1);
  moved.swap(copy);
  EXPECT_TRUE(moved == source && copy == tBlob("x", 1));
}

}  // namespace
