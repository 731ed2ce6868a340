#include "huffmanCode.h"

#include <algorithm>
#include <utility>

namespace huffman {
namespace {

constexpr unsigned int completeSum = 1U << maxLength;  // of 2^(maxLength - length) over all codes

// Fills in what follows from the lengths of the bytes `present`, in ascending order.
void putInOrder(tCode& code, tSymbols const& present) {
  unsigned int place[maxLength + 2] = {};
  for (unsigned int i = 0; i < present.count; ++i) ++place[code.length[present.symbol[i]] + 1];
  for (unsigned int i = 0; i <= maxLength; ++i) {
    if (place[i + 1] != 0) code.longest = i;
    place[i + 1] += place[i];
  }
  code.inOrder.count = present.count;
  for (unsigned int i = 0; i < present.count; ++i) {
    unsigned char const symbol = present.symbol[i];
    code.inOrder.symbol[place[code.length[symbol]]++] = symbol;
  }
}

// Sorts symbols by their counts; equal ones keep their order.
void sortByCount(tSymbols& symbols, tCountOf const& counts) {
  unsigned int most = 0;  // sets at least the bits that the largest count has
  for (unsigned int i = 0; i < symbols.count; ++i) most |= counts[symbols.symbol[i]];
  // Digit by digit, the lowest first.
  constexpr unsigned int digitBits = 6, digits = 1U << digitBits;
  for (unsigned int shift = 0; most >> shift != 0; shift += digitBits) {
    auto const digit = [&](unsigned char symbol) {
      return unsigned{counts[symbol]} >> shift & (digits - 1);
    };
    unsigned int place[digits] = {};
    for (unsigned int i = 0; i < symbols.count; ++i) ++place[digit(symbols.symbol[i])];
    unsigned int sum = 0;
    for (unsigned int& next : place) sum += std::exchange(next, sum);
    tSymbols const before = symbols;
    for (unsigned int i = 0; i < before.count; ++i) {
      symbols.symbol[place[digit(before.symbol[i])]++] = before.symbol[i];
    }
  }
}

// Weights in ascending order, at least 2 to begin with, and one behind them that none reaches.
struct tWeights {
  static constexpr unsigned int none = 0xFFFFFFFF;
  unsigned int count = 0;
  unsigned int weight[symbolCount + 1] = {none};

  void add(unsigned int added) {
    weight[count++] = added;
    weight[count] = none;
  }
};

// Huffman's construction. Gives the lengths of the codes, in the order of their weights; false if
// one is too long.
bool makeLengths(tWeights const& leaves, unsigned char* lengths) {
  tWeights nodes;
  unsigned int leaf = 0, node = 0;
  unsigned char parentOfLeaf[symbolCount + 1] = {}, parentOfNode[symbolCount] = {};
  // The lighter one of the first leaf and the first node. What it notes for the other one is
  // overwritten when that is taken.
  auto const take = [&] {
    bool const isLeaf = leaves.weight[leaf] <= nodes.weight[node];
    unsigned int const weight = isLeaf ? leaves.weight[leaf] : nodes.weight[node];
    parentOfLeaf[leaf] = parentOfNode[node] = static_cast<unsigned char>(nodes.count);
    leaf += isLeaf;
    node += !isLeaf;
    return weight;
  };
  while (nodes.count + 1 < leaves.count) {
    unsigned int const weight = take();
    nodes.add(weight + take());
  }
  unsigned char depth[symbolCount] = {};  // the root's, that of the last node, stays 0
  for (unsigned int i = nodes.count; i-- > 1;) {
    depth[i - 1] = static_cast<unsigned char>(depth[parentOfNode[i - 1]] + 1);
  }
  for (unsigned int i = 0; i < leaves.count; ++i) {
    lengths[i] = static_cast<unsigned char>(depth[parentOfLeaf[i]] + 1);
  }
  return lengths[0] <= maxLength;
}

// Package-merge. Level by level, starting with the symbols' weights, pairs of the level before are
// merged with the weights again; a symbol gets one bit for each level at which it is among the
// cheapest items that the level above uses. The last level uses all weights.
class tPackageMerge {
 public:
  explicit tPackageMerge(tWeights const& weights) : m_weights(weights), m_size(weights.count) {
    std::copy_n(weights.weight, weights.count, m_items);
    for (unsigned int level = 1; level < maxLength - 1; ++level) makeLevel(level);
  }
  // Gives the lengths of the codes, in the order of the weights.
  void makeLengths(unsigned char* lengths) const {
    std::fill_n(lengths, m_weights.count, static_cast<unsigned char>(1));
    unsigned int used = 2 * (m_weights.count - 2);
    for (unsigned int level = maxLength - 2; level > 0; --level) {
      unsigned int const weights = m_weightsBefore[level][used];
      for (unsigned int i = 0; i < weights; ++i) ++lengths[i];
      used = 2 * (used - weights);
    }
    for (unsigned int i = 0; i < used; ++i) ++lengths[i];
  }

 private:
  // Lists begin as those of the level before, up to the first package of changed items.
  void makeLevel(unsigned int level) {
    unsigned int const pairs = m_size / 2, unchanged = m_unchanged / 2;
    for (unsigned int i = unchanged; i < pairs; ++i) {
      m_packages[i] = m_items[2 * i] + m_items[2 * i + 1];
    }
    m_packages[pairs] = tWeights::none;
    m_size = m_weights.count + pairs;
    unsigned int package = unchanged, i = unchanged == 0 ? 0 : m_places[unchanged - 1] + 1;
    auto& before = m_weightsBefore[level];
    std::copy_n(m_weightsBefore[level - 1], i, before);
    for (unsigned int weight = i - package; i < m_size; ++i) {
      before[i] = static_cast<unsigned short>(weight);
      if (m_weights.weight[weight] <= m_packages[package]) {
        m_items[i] = m_weights.weight[weight++];
      } else {
        m_places[package] = static_cast<unsigned short>(i);
        m_items[i] = m_packages[package++];
      }
    }
    before[m_size] = static_cast<unsigned short>(m_weights.count);
    m_unchanged = unchanged < pairs ? m_places[unchanged] : m_size;
  }

  tWeights const& m_weights;
  unsigned int m_items[2 * symbolCount];  // of the current level, in ascending order
  unsigned int m_size;
  unsigned int m_unchanged = 0;              // the first items, equal in the level before
  unsigned int m_packages[symbolCount + 1];  // pairs of the level before
  unsigned short m_places[symbolCount];      // of the packages among the items
  // Of the first i items of a level, how many are weights.
  unsigned short m_weightsBefore[maxLength - 1][2 * symbolCount];
};

// Half bytes, high half first.
class tHalvesWriter {
 public:
  explicit tHalvesWriter(unsigned char* to) : m_to(to) {}
  void put(unsigned int half) {
    if (m_low) {
      *m_to++ |= static_cast<unsigned char>(half);
    } else {
      *m_to = static_cast<unsigned char>(half << 4);
    }
    m_low = !m_low;
  }
  unsigned char* end() const { return m_to + m_low; }

 private:
  unsigned char* m_to;
  bool m_low = false;
};

class tHalvesReader {
 public:
  tHalvesReader(unsigned char const* from, unsigned char const* end) : m_from(from), m_end(end) {}
  bool get(unsigned int& half) {
    if (m_from == m_end) return false;
    half = m_low ? *m_from++ & 0x0F : *m_from >> 4;
    m_low = !m_low;
    return true;
  }
  bool restIsZero() {
    unsigned int half = 0;
    return !m_low || (get(half) && half == 0);
  }
  unsigned char const* place() const { return m_from; }

 private:
  unsigned char const* m_from;
  unsigned char const* m_end;
  bool m_low = false;
};

constexpr unsigned int gapOf1 = 12, gapOf2 = 13, shortGap = 14, longGap = 15;
constexpr unsigned int leastShortGap = 3, leastLongGap = leastShortGap + 16;

constexpr unsigned int halvesOfGap(unsigned int gap) {
  return gap == 0 ? 0 : gap < leastShortGap ? 1 : gap < leastLongGap ? 2 : 3;
}

void putGap(tHalvesWriter& halves, unsigned int gap) {
  if (gap == 1) {
    halves.put(gapOf1);
  } else if (gap == 2) {
    halves.put(gapOf2);
  } else if (gap >= leastLongGap) {
    halves.put(longGap);
    halves.put((gap - leastLongGap) >> 4);
    halves.put((gap - leastLongGap) & 0x0F);
  } else if (gap >= leastShortGap) {
    halves.put(shortGap);
    halves.put(gap - leastShortGap);
  }
}

bool getGap(tHalvesReader& halves, unsigned int kind, unsigned int& gap) {
  unsigned int high = 0, low = 0;
  switch (kind) {
    case gapOf1:
      gap = 1;
      return true;
    case gapOf2:
      gap = 2;
      return true;
    case shortGap:
      if (!halves.get(low)) return false;
      gap = leastShortGap + low;
      return true;
    default:
      if (!halves.get(high) || !halves.get(low)) return false;
      gap = leastLongGap + (high << 4) + low;
      return true;
  }
}

}  // namespace

tCode makeCode(tCountOf const& counts, tSymbols const& present) {
  tCode code;
  if (present.count > 1) {
    tSymbols sorted = present;
    sortByCount(sorted, counts);
    tWeights weights;
    for (unsigned int i = 0; i < sorted.count; ++i) weights.add(counts[sorted.symbol[i]]);
    unsigned char lengths[symbolCount] = {};
    if (!makeLengths(weights, lengths)) tPackageMerge(weights).makeLengths(lengths);
    for (unsigned int i = 0; i < sorted.count; ++i) code.length[sorted.symbol[i]] = lengths[i];
  }
  putInOrder(code, present);
  return code;
}

tCode makeIdentity() {
  tCode code;
  code.longest = 8;
  code.inOrder.count = symbolCount;
  for (unsigned int i = 0; i < symbolCount; ++i) {
    code.length[i] = 8;
    code.inOrder.symbol[i] = static_cast<unsigned char>(i);
  }
  return code;
}

unsigned int lengthsSize(tSymbols const& present) {
  unsigned int halves = present.count, next = 0;
  for (unsigned int i = 0; i < present.count; ++i) {
    halves += halvesOfGap(present.symbol[i] - next);
    next = present.symbol[i] + 1;
  }
  return (halves + 1) / 2;
}

unsigned char* writeLengths(unsigned char* to, tSymbols const& present, tCode const& code) {
  tHalvesWriter halves(to);
  unsigned int next = 0;
  for (unsigned int i = 0; i < present.count; ++i) {
    unsigned int const symbol = present.symbol[i];
    putGap(halves, symbol - next);
    halves.put(code.length[symbol]);
    next = symbol + 1;
  }
  return halves.end();
}

bool readLengths(unsigned char const*& from, unsigned char const* end, tCode& code) {
  // The code that is most often read for nothing but a copy: 256 times 8.
  constexpr unsigned int identitySize = symbolCount / 2;
  if (end - from >= static_cast<int>(identitySize) &&
      std::count(from, from + identitySize, 0x88) == identitySize) {
    from += identitySize;
    code = makeIdentity();
    return true;
  }
  tSymbols present;
  tHalvesReader halves(from, end);
  unsigned int sum = 0, gap = 0;
  for (unsigned int symbol = 0; sum < completeSum;) {
    unsigned int half;
    if (symbol >= symbolCount || !halves.get(half)) return false;
    if (half > maxLength) {
      if (gap != 0 || !getGap(halves, half, gap)) return false;
      symbol += gap;
    } else {
      gap = 0;
      code.length[symbol] = static_cast<unsigned char>(half);
      present.symbol[present.count++] = static_cast<unsigned char>(symbol++);
      sum += completeSum >> half;
    }
  }
  if (sum != completeSum || !halves.restIsZero()) return false;
  from = halves.place();
  putInOrder(code, present);
  return true;
}

}  // namespace huffman
