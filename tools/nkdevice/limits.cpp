#include "tools/nkdevice/limits.h"

#include <algorithm>
#include <cstring>

namespace {

// Bytes of a body besides its lists and texts, and of an element besides its texts.
constexpr unsigned int headSize = 64, slotSize = 16, frameSize = 18, scheduleSize = 38,
                       entrySize = 24;

unsigned int sum(unsigned int size, unsigned long long more) {
  return static_cast<unsigned int>(std::min<unsigned long long>(tBlob::maxSize, size + more));
}

unsigned long long listSize(unsigned int count, unsigned int size, unsigned int text) {
  return static_cast<unsigned long long>(count) * (size + 1ULL * text);
}

std::string above(unsigned int most, char const* what) {
  return "more than " + std::to_string(most) + " " + what;
}

/// Walks through a body without keeping anything. At its end everything is 0.
class tBody {
 public:
  explicit tBody(nk_serializer const& body)
      : m_next(body.data() + (body.size() - body.remaining())), m_left(body.remaining()) {}

  bool skip(unsigned int count) {
    bool const enough = count <= m_left;
    count = enough ? count : m_left;
    m_next += count;
    m_left -= count;
    return enough;
  }
  unsigned int u32() {
    unsigned int value = 0;
    auto const* const at = m_next;
    if (skip(sizeof value)) std::memcpy(&value, at, sizeof value);
    return value;
  }
  bool atEnd() const { return m_left == 0; }

 private:
  unsigned char const* m_next;
  unsigned int m_left;
};

// Skips a list of elements that begin with `before` bytes and a text and have `after` bytes behind
// it. False at a text of more than `text` bytes.
bool skipElements(tBody& body, unsigned int count, unsigned int before, unsigned int after,
                  unsigned int text) {
  for (; count != 0 && !body.atEnd(); --count) {
    body.skip(before);
    auto const length = body.u32();
    if (length > text) return false;
    body.skip(length);
    body.skip(after);
  }
  return true;
}

}  // namespace

unsigned int tLimits::configContent() const {
  return sum(headSize + text,
             listSize(timeSlots, slotSize, text) + listSize(frames, frameSize, text));
}

unsigned int tLimits::schedulesContent() const {
  return sum(headSize,
             listSize(schedules, scheduleSize, text) + listSize(entries, entrySize, text));
}

unsigned int tLimits::largestContent() const {
  return std::max(
      {configContent(), schedulesContent(), smallContent(), imageContent, genericContent});
}

std::string tLimits::problemOfText(unsigned int length) const {
  return length > text ? above(text, "bytes in a name (--name-bytes)") : "";
}

std::string tLimits::problemOfConfig(nk_tools::tContent const& request) const {
  constexpr unsigned int beforeSlots = 16;
  tBody body(request.body);
  body.skip(beforeSlots);
  auto const slots = body.u32();
  if (slots > timeSlots) return above(timeSlots, "time slots (--time-slots)");
  if (!skipElements(body, slots, 0, 12, text) || !skipElements(body, 1, 0, 0, text))
    return problemOfText(text + 1);
  if (request.version < nk_message::VERSION_3) return "";
  auto const count = body.u32();
  if (count > frames) return above(frames, "frames (--frames)");
  return skipElements(body, count, 0, 14, text) ? "" : problemOfText(text + 1);
}

std::string tLimits::problemOfSchedules(nk_tools::tContent const& request) const {
  unsigned int const afterName = request.version < nk_message::VERSION_2 ? 14 : 22;
  tBody body(request.body);
  auto const count = body.u32();
  if (count > schedules) return above(schedules, "schedules (--schedules)");
  unsigned int left = entries;
  for (unsigned int i = 0; i < count && !body.atEnd(); ++i) {
    if (!skipElements(body, 1, 8, afterName, text)) return problemOfText(text + 1);
    auto const own = body.u32();
    if (own > left) return above(entries, "schedule entries (--entries)");
    left -= own;
    if (!skipElements(body, own, 8, 12, text)) return problemOfText(text + 1);
  }
  return "";
}

std::string tLimits::problemOfImages(nk_tools::tContent const& request) {
  tBody body(request.body);
  body.skip(1);
  return body.u32() > images ? above(images, "images") : "";
}
