#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

/// Memory between two pages that end the program if anything touches them, so that reads and writes
/// beyond a range show in every build.
class tFenced {
 public:
  explicit tFenced(unsigned int capacity)
      : m_page(static_cast<unsigned int>(sysconf(_SC_PAGESIZE))),
        m_size((capacity + m_page - 1) / m_page * m_page),
        m_pages(static_cast<unsigned char*>(
            mmap(nullptr, m_size + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    if (m_pages == MAP_FAILED || mprotect(at(false, 0), m_size, PROT_READ | PROT_WRITE) != 0) {
      throw std::runtime_error("no fenced memory");
    }
  }
  tFenced(tFenced const&) = delete;
  tFenced& operator=(tFenced const&) = delete;
  ~tFenced() { munmap(m_pages, m_size + 2 * m_page); }

  /// `size` bytes that end at the upper fence, or that begin at the lower one.
  unsigned char* at(bool end, unsigned int size) {
    return m_pages + m_page + (end ? m_size - size : 0);
  }

 private:
  unsigned int m_page, m_size;
  unsigned char* m_pages;
};
