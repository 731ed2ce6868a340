#include "tools/nkchaos/damage.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "harness/system.h"

namespace {

using tHits = std::vector<std::string>;

// What became of `stream` with the rates of `options`, fed in pieces of `size` bytes.
struct tOutcome {
  tOutcome(tDamage::tOptions const& options, std::string const& stream, std::size_t size,
           unsigned int number = 1) {
    tDamage damage(options, number,
                   [this](tDamage::teLevel level, tDamage::teKind kind, unsigned long long place) {
                     hits.push_back(tDamage::levelNames[level] + std::string(" ") +
                                    std::to_string(place) + " " + tDamage::kindNames[kind]);
                   });
    for (std::size_t done = 0; done < stream.size(); done += size)
      damage.feed(std::string_view(stream).substr(done, size), pieces);
    damage.finish(pieces);
    for (auto const& piece : pieces) {
      bytes += piece.bytes;
      pauses += piece.pause_ms != 0;
      ends += piece.end;
    }
  }
  bool operator==(tOutcome const& other) const {
    auto const same = [](tDamage::tPiece const& a, tDamage::tPiece const& b) {
      return a.bytes == b.bytes && a.pause_ms == b.pause_ms && a.end == b.end;
    };
    return hits == other.hits &&
           std::equal(pieces.begin(), pieces.end(), other.pieces.begin(), other.pieces.end(), same);
  }
  tDamage::tPieces pieces;
  tHits hits;
  std::string bytes;
  unsigned int pauses = 0, ends = 0;
};

tDamage::tOptions with(tDamage::teLevel level, tDamage::teKind kind, double rate = 1) {
  tDamage::tOptions options;
  options.rates[level][kind] = rate;
  return options;
}

std::string sorted(std::string text) {
  std::sort(text.begin(), text.end());
  return text;
}

TEST(damage, eachKindDoesWhatItsNameSays) {
  std::string const frames =
      "\x01"
      "abcd\x02\x01"
      "efgh\x02\x01"
      "ij\x02";
  enum teChange { SAME, PERMUTED, DIFFERS };
  struct tWay {
    std::size_t least, most;  // bytes that come out
    std::size_t pieces;       // 0: as it happens
    teChange change;
  };
  struct {
    tDamage::teKind kind;
    tWay ways[2];  // by level
  } const rows[] = {
      {tDamage::KIND_FLIP, {{16, 16, 0, DIFFERS}, {16, 16, 3, DIFFERS}}},
      {tDamage::KIND_DROP, {{0, 0, 0, DIFFERS}, {0, 0, 0, DIFFERS}}},
      {tDamage::KIND_INSERT, {{32, 32, 0, DIFFERS}, {19, 16 + 3 * 64, 6, DIFFERS}}},
      {tDamage::KIND_DUPLICATE, {{32, 32, 0, DIFFERS}, {32, 32, 6, DIFFERS}}},
      {tDamage::KIND_REORDER, {{16, 16, 0, PERMUTED}, {16, 16, 3, PERMUTED}}},
      {tDamage::KIND_STALL, {{16, 16, 16, SAME}, {16, 16, 3, SAME}}},
      {tDamage::KIND_CUT, {{16, 16, 32, SAME}, {0, 15, 0, DIFFERS}}},
      {tDamage::KIND_SPLIT, {{16, 16, 16, SAME}, {16, 16, 0, SAME}}},
  };
  for (auto const level : {tDamage::LEVEL_BYTE, tDamage::LEVEL_FRAME}) {
    for (auto const& [kind, ways] : rows) {
      auto const& [least, most, pieces, change] = ways[level];
      tOutcome const all(with(level, kind), frames, 16);
      auto const name = tDamage::levelNames[level] + std::string(tDamage::kindNames[kind]);
      EXPECT_EQ(all.hits.size(), level == tDamage::LEVEL_BYTE ? 16u : 3u) << name;
      EXPECT_GE(all.bytes.size(), least) << name;
      EXPECT_LE(all.bytes.size(), most) << name;
      EXPECT_TRUE(pieces == 0 || all.pieces.size() == pieces) << name;
      EXPECT_EQ(all.bytes == frames, change == SAME) << name;
      EXPECT_TRUE(change == DIFFERS || sorted(all.bytes) == sorted(frames)) << name;
      EXPECT_EQ(all.pauses != 0, kind == tDamage::KIND_STALL) << name;
      EXPECT_EQ(all.ends != 0, name == "bytecut") << name;
    }
  }
  EXPECT_EQ(tOutcome(with(tDamage::LEVEL_FRAME, tDamage::KIND_REORDER), frames, 1).bytes,
            "\x01"
            "efgh\x02\x01"
            "abcd\x02\x01"
            "ij\x02");
}

TEST(damage, aSeedDecidesWhateverThePiecesAre) {
  auto const stream = harness::randomBytes(300000, 1) + std::string(70000, 'x');
  tDamage::tOptions options;
  for (auto& level : options.rates) level.fill(0.01);
  tOutcome const reference(options, stream, stream.size());
  EXPECT_GT(reference.hits.size(), 300000 * 0.08 * 0.9);
  EXPECT_LT(reference.hits.size(), 300000 * 0.08 * 1.3);
  for (std::size_t const size : {1u, 7u, 4096u})
    EXPECT_TRUE(tOutcome(options, stream, size) == reference) << size;
  EXPECT_NE(tOutcome(options, stream, 4096, 2).hits, reference.hits);
  options.seed = 2;
  EXPECT_NE(tOutcome(options, stream, 4096).hits, reference.hits);
  EXPECT_EQ(tOutcome({}, stream, 4096).bytes, stream);
}

}  // namespace
