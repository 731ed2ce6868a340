#pragma once

#include <array>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

/// Damages one direction of a byte stream, the same way every time: what happens to a byte or frame
/// depends on the seed and on its position in the stream only, not on how the stream is divided or
/// when it comes. At most one thing happens to each byte and, after that, to each frame.
///
/// A frame is what ends with a byte 02, or 64 KiB without one. Not synchronised.
class tDamage {
 public:
  enum teLevel : unsigned int { LEVEL_BYTE, LEVEL_FRAME, LEVELS };
  enum teKind : unsigned int {
    KIND_FLIP,       ///< a bit is flipped; of a frame: up to 8 bytes get other values
    KIND_DROP,       ///< is left out
    KIND_INSERT,     ///< any byte before it; before a frame: 1 to 64 bytes
    KIND_DUPLICATE,  ///< comes twice
    KIND_REORDER,    ///< changes places with the next one
    KIND_STALL,      ///< comes after a pause
    KIND_CUT,        ///< a byte: the connection ends before it; a frame: its rest is lost
    KIND_SPLIT,      ///< a byte begins a new write; a frame comes in writes of 1 to 16 bytes
    KINDS
  };
  static constexpr std::array<char const*, LEVELS> levelNames{"byte", "frame"};
  static constexpr std::array<char const*, KINDS> kindNames{
      "flip", "drop", "insert", "duplicate", "reorder", "stall", "cut", "split"};
  template <class T>
  using tTable = std::array<std::array<T, KINDS>, LEVELS>;

  struct tOptions {
    unsigned long long seed = 1;
    /// How probable each damage is, 0 to 1; at most 1 in all for each level.
    tTable<double> rates{};
    /// The longest pause of a stall.
    unsigned int longestStall_ms = 50;
  };
  /// What comes out: bytes for a write of their own, after a pause; or the connection's end.
  struct tPiece {
    unsigned int pause_ms = 0;
    bool end = false;
    std::string bytes;
  };
  using tPieces = std::deque<tPiece>;
  /// Is told of each damage. `position` counts bytes or frames from 0.
  using tReport = std::function<void(teLevel level, teKind kind, unsigned long long position)>;

  /// `stream` tells apart the streams of one seed. `report` may be empty.
  tDamage(tOptions const& options, unsigned long long stream, tReport report);

  /// Takes bytes of the stream and appends what comes of the frames that are whole to `out`.
  void feed(std::string_view bytes, tPieces& out);
  /// The stream has ended: appends what is left.
  void finish(tPieces& out);

 private:
  /// An evenly distributed number that depends on the arguments and the seed only.
  unsigned long long draw(teLevel level, unsigned long long position, unsigned int use) const;
  teKind choose(teLevel level, unsigned long long position) const;
  void takeByte(char byte);
  void takeFrame(tPieces& out);
  void damageFrame(teKind kind, tPieces& out);
  static void move(tPieces& from, tPieces& to);
  void joinFrame();

  tOptions const m_options;
  unsigned long long const m_seed;
  tReport const m_report;
  unsigned long long m_bytes = 0;  // so far
  unsigned long long m_frames = 0;
  unsigned int m_length = 0;  // of the present frame, as it came
  tPieces m_frame;            // as it goes on
  tPieces m_later;            // a frame that comes after the next one
  std::string m_laterByte;    // a byte that comes after the next one
};
