#include "tools/nkchaos/damage.h"

#include <utility>

#include "codec/frameLayout.h"

namespace {

constexpr unsigned int longestFrame = 64u << 10;

// Source: Sebastiano Vigna's public-domain splitmix64. Neighbouring numbers give unrelated ones.
unsigned long long mixed(unsigned long long x) {
  x += 0x9E3779B97F4A7C15;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
  return x ^ (x >> 31);
}

}  // namespace

tDamage::tDamage(tOptions const& options, unsigned long long stream, tReport report)
    : m_options(options), m_seed(mixed(options.seed ^ mixed(stream))), m_report(std::move(report)) {
  m_frame.emplace_back();
}

unsigned long long tDamage::draw(teLevel level, unsigned long long position,
                                 unsigned int use) const {
  return mixed(mixed(m_seed + position) + use * 2ULL + level);
}

tDamage::teKind tDamage::choose(teLevel level, unsigned long long position) const {
  double chance = static_cast<double>(draw(level, position, 0) >> 11) * 0x1p-53;
  for (unsigned int kind = 0; kind < KINDS; ++kind) {
    double const rate = m_options.rates[level][kind];
    if (chance < rate) return static_cast<teKind>(kind);
    chance -= rate;
  }
  return KINDS;
}

void tDamage::feed(std::string_view bytes, tPieces& out) {
  for (char const byte : bytes) {
    takeByte(byte);
    if (++m_length == longestFrame || byte == frameEnd) takeFrame(out);
  }
}

void tDamage::finish(tPieces& out) {
  m_frame.back().bytes += std::exchange(m_laterByte, {});
  if (m_length != 0 || !m_frame.back().bytes.empty()) takeFrame(out);
  move(m_later, out);
}

void tDamage::takeByte(char byte) {
  auto const position = m_bytes++;
  auto const kind = choose(LEVEL_BYTE, position);
  auto const value = draw(LEVEL_BYTE, position, 1);
  std::string bytes(1, byte);
  if (kind != KINDS && m_report) m_report(LEVEL_BYTE, kind, position);
  if (kind == KIND_REORDER && m_laterByte.empty()) {
    m_laterByte = bytes;
    return;
  }
  if (kind == KIND_FLIP) bytes[0] = static_cast<char>(byte ^ (1 << value % 8));
  if (kind == KIND_DROP) bytes.clear();
  if (kind == KIND_INSERT) bytes.insert(0, 1, static_cast<char>(value));
  if (kind == KIND_DUPLICATE) bytes += byte;
  if (kind == KIND_SPLIT) m_frame.emplace_back();
  if (kind == KIND_STALL)
    m_frame.push_back(
        {static_cast<unsigned int>(1 + value % m_options.longestStall_ms), false, {}});
  if (kind == KIND_CUT) {
    m_frame.push_back({0, true, {}});
    m_frame.emplace_back();
  }
  m_frame.back().bytes += bytes + std::exchange(m_laterByte, {});
}

void tDamage::takeFrame(tPieces& out) {
  auto const kind = choose(LEVEL_FRAME, m_frames);
  if (kind != KINDS && m_report) m_report(LEVEL_FRAME, kind, m_frames);
  auto later = std::exchange(m_later, {});
  if (kind == KIND_REORDER && later.empty()) {
    m_later.swap(m_frame);
  } else {
    damageFrame(kind, out);
    move(m_frame, out);
    move(later, out);
  }
  m_frame.clear();
  m_frame.emplace_back();
  m_length = 0;
  ++m_frames;
}

// Changes the present frame, or puts something before it.
void tDamage::damageFrame(teKind kind, tPieces& out) {
  auto const value = [this](unsigned int use, unsigned long long range) {
    return static_cast<unsigned int>(draw(LEVEL_FRAME, m_frames, 2 + use) % range);
  };
  if (kind == KIND_FLIP || kind == KIND_CUT || kind == KIND_SPLIT) joinFrame();
  std::string& bytes = m_frame.front().bytes;
  switch (kind) {
    case KIND_FLIP:
      for (unsigned int hit = 0; hit <= value(0, 8) && !bytes.empty(); ++hit)
        bytes[value(1 + 2 * hit, bytes.size())] = static_cast<char>(value(2 + 2 * hit, 256));
      break;
    case KIND_DROP:
      m_frame.clear();
      break;
    case KIND_INSERT:
      out.emplace_back();
      for (unsigned int use = 0; use <= value(0, 64); ++use)
        out.back().bytes += static_cast<char>(value(1 + use, 256));
      break;
    case KIND_DUPLICATE:
      out.insert(out.end(), m_frame.begin(), m_frame.end());
      break;
    case KIND_STALL:
      m_frame.front().pause_ms += 1 + value(0, m_options.longestStall_ms);
      break;
    case KIND_CUT:
      bytes.resize(value(0, bytes.size() + 1));
      break;
    case KIND_SPLIT: {
      auto const whole = std::exchange(bytes, {});
      for (std::size_t done = 0; done < whole.size(); done += m_frame.back().bytes.size()) {
        m_frame.emplace_back();
        m_frame.back().bytes = whole.substr(done, 1 + value(static_cast<unsigned int>(done), 16));
      }
      break;
    }
    default:
      break;
  }
}

void tDamage::move(tPieces& from, tPieces& to) {
  for (auto& piece : from)
    if (piece.end || piece.pause_ms != 0 || !piece.bytes.empty()) to.push_back(std::move(piece));
  from.clear();
}

// Makes one piece of the present frame; the connection's end stays in front.
void tDamage::joinFrame() {
  tPiece all;
  for (auto const& piece : m_frame) {
    all.pause_ms += piece.pause_ms;
    all.end = all.end || piece.end;
    all.bytes += piece.bytes;
  }
  m_frame.clear();
  m_frame.push_back(std::move(all));
}
