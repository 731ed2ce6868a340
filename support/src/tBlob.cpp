#include "nkSupport/tBlob.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {
// Small blobs start with room for a few fields; a message body rarely has fewer.
constexpr unsigned int smallestCapacity = 64;
}  // namespace

tBlob::tBlob(tBlob const* other) {
  if (other != nullptr) append(*other);
}

tBlob::tBlob(void const* bytes, unsigned int size) { append(bytes, size); }

tBlob::tBlob(tBlob const& other) { append(other); }

tBlob::tBlob(tBlob&& other) noexcept { swap(other); }

tBlob& tBlob::operator=(tBlob const& other) {
  if (this != &other) {
    clear();
    append(other);
  }
  return *this;
}

tBlob& tBlob::operator=(tBlob&& other) noexcept {
  if (this != &other) {
    release();
    swap(other);
  }
  return *this;
}

tBlob::~tBlob() { std::free(m_base); }

void tBlob::swap(tBlob& other) noexcept {
  std::swap(m_base, other.m_base);
  std::swap(m_head, other.m_head);
  std::swap(m_size, other.m_size);
  std::swap(m_capacity, other.m_capacity);
}

void tBlob::release() {
  std::free(m_base);
  m_base = nullptr;
  m_head = m_size = m_capacity = 0;
}

// Makes room for `size` more bytes behind the last one.
bool tBlob::makeRoom(unsigned int size) {
  if (size <= m_capacity - m_head - m_size) return true;
  if (size > maxSize - m_size) return false;
  unsigned int const needed = m_size + size;
  // Moving down pays once as much has been sliced off as is left: each byte is then moved at most
  // once per byte sliced.
  if (m_head >= m_size && needed <= m_capacity) {
    if (m_size != 0) std::memmove(m_base, m_base + m_head, m_size);
    m_head = 0;
    return true;
  }
  // Room that is asked for at once is given exactly; what grows bit by bit doubles.
  unsigned int const doubled = std::min(maxSize / 2, m_capacity) * 2;
  unsigned int const capacity = std::max({needed, doubled, smallestCapacity});
  if (m_head == 0) {
    void* grown = std::realloc(m_base, capacity);
    if (grown == nullptr) return false;
    m_base = static_cast<unsigned char*>(grown);
  } else {
    void* fresh = std::malloc(capacity);
    if (fresh == nullptr) return false;
    if (m_size != 0) std::memcpy(fresh, data(), m_size);
    std::free(m_base);
    m_base = static_cast<unsigned char*>(fresh);
    m_head = 0;
  }
  m_capacity = capacity;
  return true;
}

bool tBlob::appendSlow(void const* bytes, unsigned int size) {
  if (size == 0) return true;
  auto const* from = static_cast<unsigned char const*>(bytes);
  bool const inside = m_base != nullptr && from >= data() && from < data() + m_size;
  unsigned int const offset = inside ? static_cast<unsigned int>(from - data()) : 0;
  if (!makeRoom(size)) return false;
  if (inside) from = data() + offset;
  std::memmove(m_base + m_head + m_size, from, size);
  m_size += size;
  return true;
}

unsigned char* tBlob::extendSlow(unsigned int size) {
  // Nothing at the end of an empty blob has a place too: null would say that it failed.
  if (!makeRoom(m_base == nullptr ? std::max(size, 1U) : size)) return nullptr;
  unsigned char* first = m_base + m_head + m_size;
  m_size += size;
  return first;
}

bool tBlob::prepend(void const* bytes, unsigned int size) {
  if (size == 0) return true;
  if (size > m_head) {
    if (!makeRoom(size)) return false;
    std::memmove(m_base + size, m_base + m_head, m_size);
    m_head = size;
  }
  m_head -= size;
  m_size += size;
  std::memcpy(m_base + m_head, bytes, size);
  return true;
}

void tBlob::slice(unsigned int count) {
  if (count >= m_size) {
    clear();
    return;
  }
  m_head += count;
  m_size -= count;
}

bool tBlob::reserve(unsigned int size) { return size <= m_size || makeRoom(size - m_size); }

unsigned int tBlob::getIndexOf(unsigned char byte, unsigned int from) const {
  if (from >= m_size) return npos;
  void const* found = std::memchr(data() + from, byte, m_size - from);
  if (found == nullptr) return npos;
  return static_cast<unsigned int>(static_cast<unsigned char const*>(found) - data());
}

bool tBlob::operator==(tBlob const& other) const {
  return m_size == other.m_size && (m_size == 0 || std::memcmp(data(), other.data(), m_size) == 0);
}
