#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "harness/hex.h"
#include "nkSupport/tCompression.h"

namespace {

using tBytes = std::string;

using harness::hex;

struct tForm {
  char const* name;
  tBlob (*encode)(tBlob const&);
  tBlob (*decode)(tBlob const&);
  unsigned long long (*encodedSize)(tBlob const&);
};
constexpr tForm rle{"RLE", &tCompression::encodeRLE, &tCompression::decodeRLE,
                    &tCompression::encodedSizeRLE};
constexpr tForm huffman{"Huffman", &tCompression::encodeHuffman, &tCompression::decodeHuffman,
                        &tCompression::encodedSizeHuffman};
constexpr tForm const* forms[] = {&rle, &huffman};

// All that holds for any content.
void check(tBytes const& content) {
  tBlob const blob = harness::bytes(content);
  for (tForm const* form : forms) {
    SCOPED_TRACE(form->name);
    tBlob const encoded = form->encode(blob);
    ASSERT_EQ(encoded.empty(), content.empty());
    ASSERT_EQ(form->encodedSize(blob), encoded.size());
    ASSERT_TRUE(form->decode(encoded) == blob);
  }
  unsigned int const none = blob.size(), runs = tCompression::encodeRLE(blob).size(),
                     codes = tCompression::encodeHuffman(blob).size();
  tCompression::teChoice shortest = tCompression::CHOICE_NONE;
  if (runs < none) shortest = tCompression::CHOICE_RLE;
  if (codes < std::min(none, runs)) shortest = tCompression::CHOICE_HUFFMAN;
  ASSERT_EQ(tCompression::chooseShortest(blob), shortest);
}

// Symbol i as often as `counts` says, in order: each quarter of the content is different.
tBytes withCounts(std::vector<unsigned int> const& counts) {
  tBytes content;
  for (unsigned int i = 0; i < counts.size(); ++i) content.append(counts[i], static_cast<char>(i));
  return content;
}

tBytes shuffled(tBytes content) {
  std::shuffle(content.begin(), content.end(), std::mt19937(7));
  return content;
}

std::vector<unsigned int> fibonacci(unsigned int count) {
  std::vector<unsigned int> numbers{1, 1};
  while (numbers.size() < count) numbers.push_back(numbers.back() + *(numbers.rbegin() + 1));
  return numbers;
}

std::vector<unsigned int> powersOfTwo(unsigned int count) {
  std::vector<unsigned int> numbers{1};
  while (numbers.size() < count) numbers.push_back(1U << (numbers.size() - 1));
  return numbers;
}

struct tRandom {
  std::mt19937 engine;
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(engine() % limit); }
};

// A content of one of many kinds: bytes of a small or large alphabet, evenly or unevenly often, in
// runs or not.
tBytes randomContent(tRandom& random, unsigned int size) {
  unsigned int const alphabet = 1 + random.below(random.below(2) != 0 ? 256 : 8);
  unsigned int const longestRun = random.below(2) != 0 ? 1 : 1 + random.below(90);
  bool const even = random.below(2) != 0;
  tBytes content;
  while (content.size() < size) {
    unsigned int symbol = random.below(alphabet);
    if (!even) symbol = std::min(symbol, random.below(alphabet)) * (random.below(4) != 0);
    content.append(1 + random.below(longestRun), static_cast<char>(symbol * 37));
  }
  content.resize(size);
  return content;
}

TEST(CompressionTest, givesBackContentsWithCodesAndPiecesAtTheirLimits) {
  tRandom random{std::mt19937(1)};
  tBytes const ones(4096, '\1'), eachOnce = withCounts(std::vector<unsigned int>(256, 1));
  tBytes const contents[] = {
      tBytes(3 << 20, '\0'),
      shuffled(withCounts({70'000, 1})),
      shuffled(withCounts(std::vector<unsigned int>(256, 33))),
      shuffled(withCounts(powersOfTwo(12))),  // codes of 11 bits
      shuffled(withCounts(powersOfTwo(13))),  // that would be 12
      shuffled(withCounts(fibonacci(25))),    // that would be 24
      shuffled(eachOnce + tBytes(60'000, '\xFF')),
      withCounts(fibonacci(21)),  // each quarter different
      ones + randomContent(random, 4096) + ones,
      randomContent(random, 16'383),  // nearly a piece
      randomContent(random, 16'384),
      randomContent(random, 16'385),
      tBytes(32'768, 'a') + withCounts(std::vector<unsigned int>(256, 65)),
  };
  for (auto const& content : contents) check(content);
}

// Counts of tokens take another byte from 65 literals or a run of 67 on, and from 8193 and 8195.
TEST(CompressionTest, givesBackRunsAndLiteralsOfEveryLength) {
  std::vector<unsigned int> lengths;
  for (unsigned int const around : {3U, 10U, 16U, 32U, 65U, 128U, 8193U}) {
    for (unsigned int length = around - 3; length < around + 4; ++length) lengths.push_back(length);
  }
  tBytes literals;
  for (unsigned int i = 0; i < 9000; ++i) literals += static_cast<char>(i & 1 ? i : i >> 8);
  for (unsigned int const before : lengths) {
    for (unsigned int const run : lengths) {
      for (unsigned int const behind : {0U, 1U, 2U, 3U}) {
        check(literals.substr(0, before) + tBytes(run, '\x80') + tBytes(behind, '\x81'));
      }
      ASSERT_FALSE(HasFatalFailure()) << before << " literals, a run of " << run;
    }
  }
}

TEST(CompressionTest, givesBackRandomContentsInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (unsigned int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      tRandom random{std::mt19937(thread)};
      for (unsigned int i = 0; i < 7'500; ++i) {
        unsigned int const most = i % 100 == 0 ? 40'000 : i % 10 == 0 ? 1500 : 260;
        check(randomContent(random, random.below(most)));
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "content " << i;
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

// These bytes are what other programs read and write.
TEST(CompressionTest, writesTheseBytes) {
  struct {
    tForm const& form;
    tBytes content;
    char const* encoded;
  } const rows[] = {
      {rle, "abcdddddde", "0a0461626307640065"},
      {rle, tBytes(66, '\0') + tBytes(67, '\xFF'), "85017f008101ff"},
      {rle, tBytes(100'000, ' '), "a08d06bb9a0c20"},
      {huffman, tBytes(1000, '\xFF'), "e807fec0000000"},
      {huffman, tBytes(16'384, 'A') + tBytes(10, 'B'), "8a8001f2e000000000f2f0000000"},
      {huffman, tBytes("\0\0\0\1\0\0\2\0\0\0\1\0\0\0\0\3", 16), "1012330101011030201c"},
      {huffman, "She sells sea shells by the sea shore.",
       "26f0d3ea5f115ea55d3d3e03d5d525e150040404cc68768043d223a0a2dfd7a343d2273af0"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.form.encode(harness::bytes(row.content)), hex(row.encoded)) << row.content;
  }
}

// The sizes come from another program, which gives the least sum of lengths up to 11.
TEST(CompressionTest, findsTheShortestCodes) {
  std::vector<unsigned int> steps(200, 1);
  steps.insert(steps.end(), 40, 10);
  steps.insert(steps.end(), 16, 500);
  EXPECT_EQ(tCompression::encodedSizeHuffman(harness::bytes(withCounts(powersOfTwo(13)))), 1039U);
  EXPECT_EQ(tCompression::encodedSizeHuffman(harness::bytes(withCounts(fibonacci(18)))), 2231U);
  EXPECT_EQ(tCompression::encodedSizeHuffman(harness::bytes(withCounts(steps))), 5192U);
}

// Sets the limit for the time of a test.
struct tLimit {
  explicit tLimit(unsigned int bytes) { tCompression::setMaxDecodedSize(bytes); }
  ~tLimit() { tCompression::setMaxDecodedSize(64U << 20); }
};

TEST(CompressionTest, decodesUpToTheLimit) {
  EXPECT_EQ(tCompression::maxDecodedSize(), 64U << 20);
  tBlob const content = harness::bytes(tBytes(1000, 'x'));
  for (tForm const* form : forms) {
    SCOPED_TRACE(form->name);
    tBlob const encoded = form->encode(content);
    EXPECT_TRUE((tLimit(1000), form->decode(encoded)) == content);
    EXPECT_TRUE((tLimit(999), form->decode(encoded)).empty());
  }
}

constexpr struct {
  tForm const& form;
  char const *why, *encoded;
} notEncodings[] = {
    {rle, "no tokens", "01"},
    {rle, "no bytes", "00"},
    {rle, "a size longer than needed", "8100 0041"},
    {rle, "a size of more than 32 bits", "8180808010 0041"},
    {rle, "a size that does not end", "8080808080"},
    {rle, "a size of 4 GiB", "ffffffff0f 0041"},
    {rle, "a token longer than needed", "01 800041"},
    {rle, "literals that are missing", "02 0241"},
    {rle, "more literals than the size", "01 024142"},
    {rle, "a run without its byte", "03 01"},
    {rle, "a run beyond the size", "03 0341"},
    {rle, "a run of the largest count", "03 ffffffff0f41"},
    {rle, "bytes behind the end", "01 0041 00"},
    {huffman, "no bytes", "00 f2e0 000000"},
    {huffman, "a size of 4 GiB", "ffffffff0f f2e0 000000"},
    {huffman, "a code that is not complete", "01 f2e1 000000 00"},
    {huffman, "too many codes", "03 1210 000000 58"},
    {huffman, "the only byte not alone", "02 10 000000 00"},
    {huffman, "a length behind byte 255", "01 fff0 000000"},
    {huffman, "two gaps in a row", "01 cf2d00 000000"},
    {huffman, "a gap that is cut off", "01 f2"},
    {huffman, "a half left over that is not 0", "03 1221 000000 58"},
    {huffman, "no stream sizes", "03 1220 0000"},
    {huffman, "no stream", "03 1220 000000"},
    {huffman, "bits left over that are not 0", "03 1220 000000 59"},
    {huffman, "a byte left over", "03 1220 000000 5800"},
    {huffman, "a stream beyond the end", "03 1220 000002 58"},
    {huffman, "a stream without content", "03 1220 010000 0058"},
    {huffman, "a stream of the only byte", "01 f2e0 000000 00"},
    {huffman, "a stream too short", "0b f4e1333ea3 000101 e0a0c9c0"},
    {huffman, "a piece that is missing", "8a8001 f2e0 00000000"},
    {huffman, "a piece without its fourth size", "8a8001 f2e0 000000 f2f0 000000"},
    {huffman, "a last piece with a fourth size", "8a8001 f2e0 00000000 f2f0 00000000"},
    {huffman, "a stream too long", "0b f4e1333ea3 010102 40e0a0c9c0"},
};

TEST(CompressionTest, refusesWhatIsNoEncoding) {
  tLimit const limit(0xFFFFFFFF);
  for (auto const& row : notEncodings) {
    EXPECT_TRUE(row.form.decode(hex(row.encoded)).empty()) << row.form.name << ": " << row.why;
  }
}

TEST(CompressionTest, survivesEveryDamage) {
  tLimit const limit(50'000);
  tRandom random{std::mt19937(3)};
  for (unsigned int i = 0; i < 24; ++i) {
    tForm const& form = *forms[i % 2];
    tBlob encoded = form.encode(harness::bytes(randomContent(random, 1 + i * i * 3)));
    for (unsigned int at = 0; at < encoded.size(); ++at) {
      ASSERT_TRUE(form.decode(tBlob(encoded.data(), at)).empty()) << at;
      for (int const bit : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
        encoded.data()[at] = static_cast<unsigned char>(encoded.data()[at] ^ bit);
        tBlob const content = form.decode(encoded);
        ASSERT_TRUE(content.size() <= 50'000 && form.decode(form.encode(content)) == content);
        encoded.data()[at] = static_cast<unsigned char>(encoded.data()[at] ^ bit);
      }
    }
  }
}

}  // namespace
