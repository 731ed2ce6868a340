#pragma once

#include <bit>
#include <cstring>
#include <type_traits>

#include "nkProtocol/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

static_assert(std::endian::native == std::endian::little,
              "fields are copied as they lie in memory: the wire is little-endian");

/// The binary codec of messages: a blob with a read position. One call per field serves both
/// directions, so that a message body is one chain of calls for reading and for writing.
///
/// Integers are little-endian without padding; texts and blobs are a u32 byte count followed by the
/// bytes. Writing appends at the end whatever the read position, reading never moves the end.
///
/// Reading gives false when the buffer is too short, or a declared length runs past it; the caller
/// stops there. Reading and writing give false when no memory is left. Not synchronised.
class NK_API nk_serializer : public tBlob {
 public:
  /// Whether a call fills its argument from the bytes or appends it to them.
  enum teSerDirection { SER_READ = 0, SER_WRITE = 1 };

  /// Empty, for building a message.
  nk_serializer() = default;
  /// Holds a copy of `blob`'s bytes (none for null), for reading them. `blob` is not changed.
  explicit nk_serializer(tBlob* blob) : tBlob(blob) {}
  /// Takes the bytes over without copying.
  explicit nk_serializer(tBlob&& bytes) noexcept : tBlob(static_cast<tBlob&&>(bytes)) {}

  /// One integer. A failed read changes neither `v` nor the read position.
  bool u8(unsigned char& v, teSerDirection d) { return field(&v, sizeof v, d); }
  bool i8(signed char& v, teSerDirection d) { return field(&v, sizeof v, d); }
  bool u16(unsigned short& v, teSerDirection d) { return field(&v, sizeof v, d); }
  bool i16(short& v, teSerDirection d) { return field(&v, sizeof v, d); }
  bool u32(unsigned int& v, teSerDirection d) { return field(&v, sizeof v, d); }
  bool u64(unsigned long long& v, teSerDirection d) { return field(&v, sizeof v, d); }
  /// Several integers in a row, as one call for each would pass them, but all or none.
  template <class... Number>
  bool numbers(teSerDirection d, Number&... v) {
    static_assert((std::is_integral_v<Number> && ...));
    constexpr unsigned int width = (sizeof v + ...);
    if (d != SER_READ) {
      unsigned char* to = extend(width);
      if (to == nullptr) return false;
      ((std::memcpy(to, &v, sizeof v), to += sizeof v), ...);
      return true;
    }
    if (width > remaining()) return false;
    unsigned char const* from = data() + m_readPosition;
    ((std::memcpy(&v, from, sizeof v), from += sizeof v), ...);
    m_readPosition += width;
    return true;
  }

  /// One text or blob. Reading clears the target first, so that it is empty after a failure.
  bool string(tString& s, teSerDirection d);
  bool blob(tBlob& b, teSerDirection d);

  /// Empties the blob and sets the read position to 0, for building the next message.
  void clearSer() {
    clear();
    m_readPosition = 0;
    m_lackedMemory = false;
  }
  /// True if a call has failed since the start or clearSer() because memory ran out, not because
  /// bytes are missing.
  bool lackedMemory() const { return m_lackedMemory; }
  /// Makes lackedMemory() true: for bodies that find no memory for what they read.
  void noteLackOfMemory() { m_lackedMemory = true; }
  /// Number of bytes that have not been read yet.
  unsigned int remaining() const { return m_readPosition < size() ? size() - m_readPosition : 0; }

 private:
  bool field(void* value, unsigned int width, teSerDirection d) {
    if (d != SER_READ) return append(value, width);
    if (width > remaining()) return false;
    std::memcpy(value, data() + m_readPosition, width);
    m_readPosition += width;
    return true;
  }
  bool readLength(unsigned int& length);

  unsigned int m_readPosition = 0;
  bool m_lackedMemory = false;
};
