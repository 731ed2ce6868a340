#pragma once

#include "codec/withinMemory.h"

inline bool transfer(nk_serializer& ser, unsigned short& v, nk_serializer::teSerDirection d) {
  return ser.u16(v, d);
}
inline bool transfer(nk_serializer& ser, unsigned int& v, nk_serializer::teSerDirection d) {
  return ser.u32(v, d);
}

/// Passes the elements of a list whose count has passed already. `element(index)` passes one; the
/// first that gives false, or finds no memory, ends the list with false.
template <class Element>
bool transferElements(nk_serializer& ser, unsigned int count, Element element) {
  return withinMemory(ser, [&] {
    for (unsigned int i = 0; i < count; ++i) {
      if (!element(i)) return false;
    }
    return true;
  });
}

/// Passes a list through `ser`: a count of type `Count`, then its elements. Writing, there are
/// `size` of them (cut to the count's width); reading, as many as the count says. `begin` is called
/// once the count has passed, to clear the list that is read into. `element` is that of
/// transferElements. No memory is taken on the word of a count that was read.
template <class Count, class Begin, class Element>
bool transferList(nk_serializer& ser, nk_serializer::teSerDirection d, unsigned int size,
                  Begin begin, Element element) {
  Count count = static_cast<Count>(size);
  if (!transfer(ser, count, d)) return false;
  auto const prepared = [&begin] { return begin(), true; };
  return withinMemory(ser, prepared) && transferElements(ser, count, element);
}
