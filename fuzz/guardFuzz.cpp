// The guard against a model that looks at the stream as a whole, however the bytes are divided.

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "codec/frameLayout.h"
#include "fuzz.h"
#include "harness/hex.h"
#include "link/linkGuard.h"
#include "nkSupport/base128.h"

namespace {

using fuzz::require;
using harness::text;
using tMoment = nk_linkGuard::tMoment;
using tPart = nk_telegramPart;

constexpr unsigned int ownAddress = 2, maxPayload = 60;
constexpr unsigned int broadcast = nk_basicTelegram::addressBroadcast;

/// A frame is what stands from a start byte to the next end byte, if a part can be read from it.
struct tFrames {
  unsigned int longest;
  std::string bytes = {};
  bool begun = false;

  /// True if `byte` ends a good frame, which `bytes` and `part` then hold.
  bool add(char byte, tPart& part) {
    if (byte == frameStart) bytes.clear();
    if (!begun && byte != frameStart) return false;
    bytes += byte;
    begun = byte == frameStart || (static_cast<unsigned char>(byte) & 0x80) != 0;
    if (begun || byte != frameEnd || bytes.size() > longest) return false;
    tBlob stream = harness::bytes(bytes);
    return part.streamContainsTelegram(&stream);
  }
};

class tModel {
 public:
  explicit tModel(nk_linkGuard::tOptions const& options) : m_options(options) {}

  void receive(std::string const& bytes, tMoment now) {
    tPart part;
    for (char const byte : bytes) {
      if (m_in.add(byte, part) && wanted(part, now)) deliver(part);
    }
  }
  void sent(std::string const& bytes) {
    tPart part;
    for (char const byte : bytes) {
      if (!m_out.add(byte, part) || part.isResponse() || part.isRequestWithoutResponse()) continue;
      m_asked[part.telegramId()] = part.destinationAddress();
    }
  }

  std::vector<std::string> delivered;

 private:
  bool wanted(tPart const& part, tMoment now) {
    auto const to = part.destinationAddress();
    if (m_options.address && to != ownAddress && to != broadcast) return false;
    if (m_options.checkAnswers && part.isResponse()) {
      auto const asked = m_asked.find(part.telegramId());
      if (asked == m_asked.end()) return false;
      if (asked->second != broadcast && asked->second != part.sourceAddress()) return false;
    }
    if (m_options.duplicateWindow.count() == 0) return true;
    std::erase_if(m_recent,
                  [&](auto const& one) { return now - one.second > m_options.duplicateWindow; });
    return m_recent.try_emplace(m_in.bytes, now).second;
  }

  // A telegram of several parts is known by all that its parts have in common.
  void deliver(tPart const& part) {
    bool const whole = part.partId() == 1 && part.isLastPart();
    if (!m_options.assemble || whole) return delivered.push_back(m_in.bytes);
    auto const number = part.partId();
    if (number == 0) return;
    tKey const key{part.telegramId(), part.sourceAddress(), part.destinationAddress(),
                   part.timestamp(),  part.type(),          part.compression()};
    auto& [frames, last] = m_held[key];
    unsigned int const highest = frames.empty() ? 0 : frames.rbegin()->first;
    if (last != 0 && (number > last || part.isLastPart())) return;
    if (part.isLastPart() && number < highest) return;
    if (!frames.try_emplace(number, m_in.bytes).second) return;
    if (part.isLastPart()) last = number;
    if (last == 0 || frames.size() != last) return;
    for (auto const& each : frames) delivered.push_back(each.second);
    m_held.erase(key);
  }

  using tKey = std::array<unsigned int, 6>;
  using tHeld = std::pair<std::map<unsigned int, std::string>, unsigned int>;
  nk_linkGuard::tOptions const m_options;
  tFrames m_in{2 + base128::encodedSize(frameHeaderSize + maxPayload + frameCrcSize)};
  tFrames m_out{tBlob::maxSize};
  std::map<unsigned int, unsigned int> m_asked;
  std::map<std::string, tMoment> m_recent;
  std::map<tKey, tHeld> m_held;
};

// A frame that is good, or has one byte changed, or any bytes.
std::string bytesOf(fuzz::tInput& input) {
  if (input.below(4) == 0) return text(input.bytes(input.below(40)));
  tBlob payload = input.bytes(input.below(maxPayload + 4));
  auto const type = nk_basicTelegram::teType(input.below(3));
  unsigned int const id = input.below(4), number = 1 + input.below(3);
  tPart part(id, 1 + input.below(3), input.oneOf({1U, ownAddress, broadcast}), number, 0,
             input.below(2) == 0, &payload, type, nk_basicTelegram::COMPRESSION_NONE);
  tBlob frame;
  require(part.serialize(&frame), "frames can be written");
  auto const change = input.number<unsigned char>();
  if (change < 64) frame.data()[change % frame.size()] ^= input.number<unsigned char>();
  return text(frame);
}

/// A guard with cures chosen by the input, its model, and what happens to both.
class tStory {
 public:
  explicit tStory(fuzz::tInput& input)
      : m_options(optionsFor(input.number<unsigned char>())),
        m_guard(m_options,
                [this](unsigned char* frame, unsigned int length) {
                  m_delivered.emplace_back(reinterpret_cast<char*>(frame), length);
                }),
        m_model(m_options) {}

  void goOn(fuzz::tInput& input) {
    m_now += std::chrono::milliseconds(100 * input.below(16));
    std::string const bytes = bytesOf(input);
    auto const* const start = reinterpret_cast<unsigned char const*>(bytes.data());
    auto const length = static_cast<unsigned int>(bytes.size());
    if (input.below(4) == 0) return m_guard.sent(start, length), m_model.sent(bytes);
    m_arrived += length;
    unsigned int const piece = 1 + input.below(70);
    for (unsigned int at = 0; at < length; at += piece)
      m_guard.receive(start + at, std::min(piece, length - at));
    m_model.receive(bytes, m_now);
    m_count += m_delivered.size();
    require(std::exchange(m_delivered, {}) == std::exchange(m_model.delivered, {}) || m_crowded,
            "just the good frames are delivered");
    unsigned int const most = m_crowded ? maxHeld : m_arrived * 40;
    require(m_guard.heldBytes() <= most + 2 * maxPayload + 100, "what is held is bounded");
  }
  void finish() const {
    auto const counters = m_guard.counters();
    require(counters.delivered == m_count, "each delivery is counted");
    require(counters.skippedBytes <= m_arrived, "no byte is skipped twice");
  }

 private:
  static constexpr unsigned int maxHeld = 1000;

  nk_linkGuard::tOptions optionsFor(unsigned int cures) {
    nk_linkGuard::tOptions options;
    options.maxPayload = maxPayload;
    m_crowded = (cures & 16) != 0;
    if ((cures & 1) != 0) options.address = ownAddress;
    options.assemble = (cures & 2) != 0;
    options.checkAnswers = (cures & 4) != 0;
    if ((cures & 8) != 0) options.duplicateWindow = std::chrono::seconds(2);
    options.expiry = std::chrono::hours(1000000);
    if (m_crowded) options.maxHeld = maxHeld;
    options.now = [this] { return m_now; };
    return options;
  }

  bool m_crowded = false;
  tMoment m_now{};
  nk_linkGuard::tOptions const m_options;
  nk_linkGuard m_guard;
  tModel m_model;
  std::vector<std::string> m_delivered;
  std::size_t m_count = 0;  // of all that were delivered
  unsigned int m_arrived = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  return fuzz::tell<tStory>(data, size);
}
