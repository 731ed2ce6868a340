#pragma once

#include <utility>
#include <vector>

#include "nkSupport/tCriticalSection.h"

namespace nk_detail {

/// Exchange sort that remembers where the last swap of a pass happened. `isAfter(a, b)` says that
/// `a` belongs behind `b`; neighbours for which it is false both ways keep their order. In place,
/// O(1) memory; O(n) for a list in order, O(n * n) for the worst.
template <class T>
void exchangeSort(std::vector<T>& list, bool (*isAfter)(T&, T&)) {
  auto n = list.size();
  while (n > 1) {
    typename std::vector<T>::size_type last = 1;
    for (typename std::vector<T>::size_type i = 0; i + 1 < n; ++i) {
      if (!isAfter(list[i], list[i + 1])) continue;
      std::swap(list[i], list[i + 1]);
      last = i + 1;
    }
    n = last;
  }
}

}  // namespace nk_detail

/// A vector that can be sorted by a registered rule. Pointers in it are not owned.
/// Not synchronised: the owner locks.
template <class T>
class tVector : public std::vector<T> {
 public:
  /// True if the first element belongs behind the second; must give the same answer each time.
  using tComparator = bool (*)(T&, T&);

  /// The element at `index`; a zero value (0, null) at or past the size.
  T get(unsigned int index) { return index < this->size() ? (*this)[index] : T{}; }
  /// Registers the rule for sort(); null makes sort() do nothing.
  void registerComparator(tComparator comparator) { m_comparator = comparator; }
  /// Stable sort by the registered rule, in place; see nk_detail::exchangeSort for its cost.
  void sort() {
    if (m_comparator != nullptr) nk_detail::exchangeSort<T>(*this, m_comparator);
  }
  /// Registers `comparator` and sorts by it.
  void sort(tComparator comparator) {
    registerComparator(comparator);
    sort();
  }

 private:
  tComparator m_comparator = nullptr;
};

/// A vector of pointers with a lock of its own and, if wanted, ownership of what they point to.
/// Only sort() and clearVector() take the lock; owners that share the list between threads lock
/// around all other operations themselves.
template <class T>
class tVector_TS : public std::vector<T> {
 public:
  /// As tVector::tComparator.
  using tComparator = bool (*)(T&, T&);

  /// With `ownsElements` clearVector() and the destructor delete the elements.
  explicit tVector_TS(bool ownsElements) : m_lock(true), m_ownsElements(ownsElements) {}
  ~tVector_TS() { clearVector(); }
  tVector_TS(tVector_TS const&) = delete;
  tVector_TS& operator=(tVector_TS const&) = delete;

  /// As tVector::registerComparator; takes no lock.
  void registerComparator(tComparator comparator) { m_comparator = comparator; }
  /// As tVector::sort, under the lock.
  void sort() {
    tLockGuard guard(m_lock);
    if (m_comparator != nullptr) nk_detail::exchangeSort<T>(*this, m_comparator);
  }
  /// Registers `comparator` and sorts by it; the lock is held for the sort only.
  void sort(tComparator comparator) {
    registerComparator(comparator);
    sort();
  }
  /// Empties the list, under the lock; owned elements are deleted in index order, null skipped.
  void clearVector() {
    tLockGuard guard(m_lock);
    if (m_ownsElements) {
      for (T element : *this) delete element;
    }
    this->clear();
  }

 private:
  tComparator m_comparator = nullptr;
  tCriticalSection m_lock;
  bool m_ownsElements;
};
