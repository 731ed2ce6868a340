#pragma once

#include <cstring>

#include "nkSupport/export.h"

/// A buffer of bytes in one piece. It grows geometrically, so appending costs amortised O(1) per
/// byte, and it forgets bytes at its front in O(1): a receive buffer can be appended to and sliced
/// for ever at a cost linear in its bytes.
///
/// Holds at most `maxSize` bytes. Operations that need memory return false, and change nothing,
/// when the limit is passed or no memory is to be had; a copy that finds none is empty. Not
/// synchronised.
class NK_SUPPORT_API tBlob {
 public:
  /// The most bytes that a blob holds: 2 GiB - 1, on every platform.
  static constexpr unsigned int maxSize = 0x7FFFFFFF;
  /// What getIndexOf gives for a byte that does not occur.
  static constexpr unsigned int npos = 0xFFFFFFFF;

  tBlob() = default;
  /// A copy of `other`'s bytes; null gives an empty blob. `other` is not changed.
  explicit tBlob(tBlob const* other);
  /// A copy of `size` bytes from `bytes` (null allowed if `size` is 0).
  tBlob(void const* bytes, unsigned int size);
  /// A copy has bytes of its own, or none if there is no memory for them; a blob that was moved
  /// from is empty.
  tBlob(tBlob const& other);
  tBlob(tBlob&& other) noexcept;
  tBlob& operator=(tBlob const& other);
  tBlob& operator=(tBlob&& other) noexcept;
  ~tBlob();

  /// Bytes in use, 0 to maxSize.
  unsigned int size() const { return m_size; }
  /// True if there is no byte; memory may be held all the same.
  bool empty() const { return m_size == 0; }
  /// Bytes of memory that the blob holds, used or not.
  unsigned int capacity() const { return m_capacity; }
  /// The bytes; valid until the next call that is not const. Null only if nothing was ever stored.
  unsigned char const* data() const { return m_base + m_head; }
  unsigned char* data() { return m_base + m_head; }

  /// Adds bytes at the end. `bytes` may lie in this blob.
  bool append(void const* bytes, unsigned int size) {
    if (size <= m_capacity - m_head - m_size && size != 0) {
      std::memcpy(m_base + m_head + m_size, bytes, size);
      m_size += size;
      return true;
    }
    return appendSlow(bytes, size);
  }
  bool append(tBlob const& other) { return append(other.data(), other.size()); }
  /// Adds `size` bytes of unspecified content at the end and returns the first of them, valid as
  /// data() is; null on failure. Cheaper than append for a writer that fills them in place.
  unsigned char* extend(unsigned int size) {
    if (size > m_capacity - m_head - m_size || size == 0) return extendSlow(size);
    unsigned char* const first = m_base + m_head + m_size;
    m_size += size;
    return first;
  }
  /// Adds bytes in front. `bytes` must not lie in this blob. Costs O(size of the blob) unless
  /// slice made room.
  bool prepend(void const* bytes, unsigned int size);
  /// Removes the first `count` bytes, or all if there are fewer. O(1).
  void slice(unsigned int count);
  /// Keeps the first `count` bytes; nothing happens if there are fewer.
  void truncate(unsigned int count) {
    if (count < m_size) m_size = count;
  }
  /// Makes room for `size` bytes in all, so that the appends up to it allocate nothing.
  bool reserve(unsigned int size);
  /// Removes all bytes and keeps the memory for what comes next.
  void clear() { m_head = m_size = 0; }
  /// Removes all bytes and gives the memory back.
  void release();
  /// Exchanges bytes and memory with `other`. O(1).
  void swap(tBlob& other) noexcept;

  /// Index of the first byte equal to `byte`, not before `from`; npos if there is none.
  unsigned int getIndexOf(unsigned char byte, unsigned int from = 0) const;
  /// True if both hold the same bytes, whatever memory they hold.
  bool operator==(tBlob const& other) const;

 private:
  bool appendSlow(void const* bytes, unsigned int size);
  unsigned char* extendSlow(unsigned int size);
  bool makeRoom(unsigned int size);

  unsigned char* m_base = nullptr;
  unsigned int m_head = 0;      // offset of the first byte in m_base
  unsigned int m_size = 0;      // bytes in use, from m_head
  unsigned int m_capacity = 0;  // bytes allocated at m_base
};
