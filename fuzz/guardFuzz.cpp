// The guard against a model that looks at the stream as a whole: which frames it must deliver, with
// which cures, however the bytes are divided.

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz.h"
#include "harness/hex.h"
#include "link/linkGuard.h"
#include "nkSupport/base128.h"
#include "protocol/frame.h"

namespace {

using fuzz::require;
using harness::text;
using tMoment = nk_linkGuard::tMoment;
using tPart = nk_telegramPart;

constexpr unsigned int ownAddress = 2, maxPayload = 60;
constexpr unsigned int broadcast = nk_basicTelegram::addressBroadcast;

/// Finds the frames of a stream with as little thought as possible: what stands between the last
/// start byte and the next end byte, if a part can be read from it alone.
struct tFrames {
  unsigned int longest;
  std::string bytes = {};
  bool begun = false;

  /// True if `byte` ends a good frame, which `bytes` and `part` then hold.
  bool add(char byte, tPart& part) {
    if (byte == frameStart) {
      bytes.clear();
      begun = true;
    }
    if (!begun) return false;
    bytes += byte;
    bool const inside = byte == frameStart || (static_cast<unsigned char>(byte) & 0x80) != 0;
    begun = inside;
    if (inside || byte != frameEnd || bytes.size() > longest) return false;
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
    auto& held = m_held[{part.telegramId(), part.sourceAddress(), part.destinationAddress(),
                         part.timestamp(), part.type(), part.compression()}];
    auto& [frames, last] = held;
    unsigned int const highest = frames.empty() ? 0 : frames.rbegin()->first;
    if (last != 0 && (number > last || part.isLastPart())) return;
    if (part.isLastPart() && number < highest) return;
    if (!frames.try_emplace(number, m_in.bytes).second) return;
    if (part.isLastPart()) last = number;
    if (last == 0 || frames.size() != last) return;
    for (auto const& each : frames) delivered.push_back(each.second);
    m_held.erase({part.telegramId(), part.sourceAddress(), part.destinationAddress(),
                  part.timestamp(), part.type(), part.compression()});
  }

  using tKey = std::tuple<unsigned int, unsigned int, unsigned int, unsigned int, unsigned int,
                          unsigned int>;
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  fuzz::tInput input(data, size);
  unsigned int const cures = input.number<unsigned char>();
  tMoment now{};
  nk_linkGuard::tOptions options;
  options.maxPayload = maxPayload;
  if ((cures & 1) != 0) options.address = ownAddress;
  options.assemble = (cures & 2) != 0;
  options.checkAnswers = (cures & 4) != 0;
  if ((cures & 8) != 0) options.duplicateWindow = std::chrono::seconds(2);
  options.expiry = std::chrono::hours(1000000);
  bool const crowded = (cures & 16) != 0;
  if (crowded) options.maxHeld = 1000;
  options.now = [&now] { return now; };

  std::vector<std::string> delivered;
  nk_linkGuard guard(options, [&](unsigned char* frame, unsigned int length) {
    delivered.emplace_back(reinterpret_cast<char*>(frame), length);
  });
  tModel model(options);
  unsigned int arrived = 0;
  std::ptrdiff_t checked = 0;  // deliveries that were compared already
  while (!input.empty()) {
    now += std::chrono::milliseconds(100 * input.below(16));
    std::string const bytes = bytesOf(input);
    auto const* const start = reinterpret_cast<unsigned char const*>(bytes.data());
    auto const length = static_cast<unsigned int>(bytes.size());
    if (input.below(4) == 0) {
      guard.sent(start, length);
      model.sent(bytes);
      continue;
    }
    arrived += length;
    unsigned int const piece = 1 + input.below(70);
    for (unsigned int at = 0; at < length; at += piece)
      guard.receive(start + at, std::min(piece, length - at));
    model.receive(bytes, now);
    auto const same = [&] {
      return delivered.size() == model.delivered.size() &&
             std::equal(delivered.begin() + checked, delivered.end(),
                        model.delivered.begin() + checked);
    };
    require(crowded || same(), "just the good frames are delivered");
    checked = static_cast<std::ptrdiff_t>(delivered.size());
    require(guard.heldBytes() <= (crowded ? 1000U : arrived * 40) + 2 * maxPayload + 100,
            "what is held is bounded");
  }
  auto const counters = guard.counters();
  require(counters.delivered == delivered.size(), "each delivery is counted");
  require(counters.skippedBytes <= arrived, "no byte is skipped twice");
  return 0;
}
