#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

/// Memory between two pages that end the program if anything touches them, so that reads and writes
/// beyond a range show in every build.
class tFenced {
 public:
  static constexpr unsigned char filler = 0x5a;

  explicit tFenced(unsigned int capacity)
      : m_page(static_cast<unsigned int>(sysconf(_SC_PAGESIZE))),
        m_size((capacity + m_page - 1) / m_page * m_page),
        m_pages(static_cast<unsigned char*>(
            mmap(nullptr, m_size + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    if (m_pages == MAP_FAILED || mprotect(begin(), m_size, PROT_READ | PROT_WRITE) != 0) {
      throw std::runtime_error("no fenced memory");
    }
    clear();
  }
  tFenced(tFenced const&) = delete;
  tFenced& operator=(tFenced const&) = delete;
  ~tFenced() { munmap(m_pages, m_size + 2 * m_page); }

  void clear() { std::memset(begin(), filler, m_size); }
  /// The first byte behind the lower fence.
  unsigned char* begin() { return m_pages + m_page; }
  /// `size` bytes that end `gap` bytes before the upper fence.
  unsigned char* back(unsigned int size, unsigned int gap = 0) {
    return begin() + m_size - gap - size;
  }
  /// Whether all bytes but `size` bytes at `data` are as `clear` left them.
  bool cleanAround(unsigned char const* data, unsigned int size) {
    for (unsigned char const* byte = begin(); byte < begin() + m_size; ++byte) {
      if ((byte < data || byte >= data + size) && *byte != filler) return false;
    }
    return true;
  }

 private:
  unsigned int m_page, m_size;
  unsigned char* m_pages;
};
