// An engine, and a model that says which calls it owes the application, which telegrams its peers.

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <optional>

#include "fuzz.h"
#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "nkSupport/tCompression.h"

namespace {

using fuzz::require;
using harness::text;
using tCall = harness::tEndpoint::tCall;
using tPart = nk_telegramPart;

constexpr unsigned int ownAddress = 2, defaultTimeout_s = 10, payloadSize = 100;

/// The content of a whole telegram: empty if it cannot be decoded.
std::string contentOf(tPart& header, tBlob payload) {
  tPart whole(0, 0, 0, 1, 0, true, &payload, header.type(), header.compression());
  whole.isSinglePartTelegram();
  return text(*whole.payload());
}

/// What an engine owes, found with as little code as possible and no thought of speed.
class tModel {
 public:
  struct tTelegram {
    unsigned int id, destination;
    std::string content;
    bool isResponse, waits;
    long long timesOutAfter;
    void* userData;
    bool sent;
  };

  void handleOutgoing(bool canSend, bool takesBytes) {
    for (auto& telegram : std::exchange(telegrams, {})) {
      if (telegram.sent && telegram.timesOutAfter < tTime::now()) {
        answers.push_back({nk_basicTelegram::addressNone, "(null)", true, telegram.userData});
        continue;
      }
      if (!telegram.sent) {
        // There is nothing to refuse of a telegram without content.
        if (!canSend || (!takesBytes && !telegram.content.empty())) continue;
        if (!telegram.content.empty()) toPeers.push_back(telegram);
        telegram.sent = true;
        if (!telegram.waits) continue;
      }
      telegrams.push_back(telegram);
    }
  }
  void handleStream() {
    tPart part;
    while (part.streamContainsTelegram(&stream)) {
      auto const destination = part.destinationAddress();
      if (destination != ownAddress && destination != nk_basicTelegram::addressBroadcast) continue;
      if (auto const content = file(part)) deliver(part, *content);
    }
  }

  std::string reply;
  tBlob stream;
  std::vector<tTelegram> telegrams;  // in the order of the queue
  // What is owed.
  std::vector<tCall> requests, answers;
  std::vector<tTelegram> toPeers;

 private:
  std::optional<std::string> file(tPart& part) {
    if (part.partId() == 1 && part.isLastPart()) return contentOf(part, *part.payload());
    std::array<unsigned int, 3> const key{part.telegramId(), part.sourceAddress(),
                                          part.destinationAddress()};
    bool const isNew = !m_incomplete.contains(key);
    auto& context = m_incomplete[key];
    if (isNew) context.first = std::make_unique<tPart>(&part);
    if (!context.payloads.emplace(part.partId(), *part.payload()).second) return std::nullopt;
    if (isNew || !part.isLastPart()) return std::nullopt;
    auto const [first, payloads] = std::move(context);
    m_incomplete.erase(key);
    if (payloads.begin()->first != 1 || payloads.rbegin()->first != payloads.size()) return {};
    tBlob joined;
    for (auto const& [number, payload] : payloads) joined.append(payload);
    return contentOf(*first, joined);
  }
  void deliver(tPart& part, std::string const& content) {
    if (!part.isResponse()) {
      requests.push_back({part.sourceAddress(), content, false, nullptr});
      if (reply.empty()) return;
      telegrams.push_back(
          {part.telegramId(), part.sourceAddress(), reply, true, false, 0, nullptr, false});
      return;
    }
    auto const asked = std::ranges::find_if(
        telegrams, [&](auto const& each) { return each.waits && each.id == part.telegramId(); });
    if (asked == telegrams.end()) return;
    answers.push_back({part.sourceAddress(), content, false, asked->userData});
    telegrams.erase(asked);
  }

  struct tContext {
    std::unique_ptr<tPart> first;
    std::map<unsigned int, tBlob> payloads;  // by part number
  };
  std::map<std::array<unsigned int, 3>, tContext> m_incomplete;
};

class tStory {
 public:
  explicit tStory(fuzz::tInput&) {
    tCompression::setMaxDecodedSize(2000);
    nk_protocol::setMaxPayloadSize(payloadSize);
    nk_protocol::u32TlgNumber = 0;
  }

  void goOn(fuzz::tInput& input) {
    auto const what = input.below(8);
    if (what == 0) return arrive(input.bytes(input.below(64)));
    if (what == 1) return m_clock.advance(input.number<signed char>());
    if (what <= 3) return arrive(telegram(input));
    if (what == 4) return request(input);
    if (what > 5) return poll(input);
    m_model.reply = m_engine.reply = content(input, 3);
  }
  /// With a link that works, what is queued goes out, and nothing is called twice.
  void finish() {
    fuzz::tInput plain(nullptr, 0);
    for (int i = 0; i < 2; ++i) poll(plain);
    m_clock.advance(1000000);  // far beyond all steps back
    poll(plain);
    require(m_model.telegrams.empty(), "every request has its end");
  }

 private:
  static std::string content(fuzz::tInput& input, unsigned int most) {
    std::string const piece = text(input.bytes(input.below(40)));
    std::string all;
    for (unsigned int i = input.below(most); i != 0; --i) all += piece;
    return all;
  }

  /// Content cut into parts that may lack, repeat, be out of order, damaged or lie.
  static tBlob telegram(fuzz::tInput& input) {
    unsigned int const id = input.below(6);
    auto const source = input.oneOf({1U, 3U, nk_basicTelegram::addressNone});
    auto const destination = input.oneOf({ownAddress, ownAddress, tPart::addressBroadcast, 1U});
    unsigned int const flags = input.number<unsigned char>();
    auto const type = tPart::teType(flags & 3);
    auto const compression = tPart::teCompression(flags & 0x30);
    bool const endsEarly = (flags & 4) != 0, lies = (flags & 8) != 0;
    unsigned int const count = 1 + input.below(5), first = input.oneOf({1U, 1U, 0U, 2U});
    bool const inOrder = input.below(2) == 0;
    tBlob whole = harness::bytes(content(input, 60));
    if (!lies && compression == tPart::COMPRESSION_RLE) whole = tCompression::encodeRLE(whole);
    if (!lies && compression == tPart::COMPRESSION_HUFF) whole = tCompression::encodeHuffman(whole);
    tBlob bytes;
    unsigned int const size = whole.size() / count;
    for (unsigned int i = 0; i < count; ++i) {
      unsigned int const index = inOrder ? i : input.below(count);
      bool const last = index + 1 == count;
      tBlob payload(whole.data() + index * size, last ? whole.size() - index * size : size);
      tPart part(id, source, destination, first + index, 0, last || endsEarly, &payload, type,
                 compression);
      require(part.serialize(&bytes), "frames can be written");
    }
    auto const change = input.number<unsigned char>();
    if (change != 0) bytes.data()[input.number<unsigned short>() % bytes.size()] ^= change;
    return bytes;
  }

  void arrive(tBlob bytes) {
    if (m_arrivals++ % 2 == 0) return void(m_toEngine.bytes.append(bytes));
    m_engine.engine.pushData(bytes.data(), bytes.size());
    m_model.stream.append(bytes);
    m_newData = m_newData || !bytes.empty();
  }

  void request(fuzz::tInput& input) {
    auto const destination = input.oneOf({1U, 3U, nk_basicTelegram::addressBroadcast});
    bool const waits = input.below(4) != 0;
    unsigned int const timeout_s = input.below(30);
    std::string const all = content(input, 50);
    void* const userData = &m_userData[m_model.telegrams.size() % std::size(m_userData)];
    waits ? m_engine.request(all, destination, timeout_s, userData)
          : m_engine.tell(all, destination);
    m_model.telegrams.push_back({nk_protocol::u32TlgNumber, destination, all, false, waits,
                                 tTime::now() + (timeout_s != 0 ? timeout_s : defaultTimeout_s),
                                 userData, false});
  }

  template <int reason>
  static unsigned int refuse(nk_server*, void*, unsigned char*, unsigned int, int* error) {
    *error = reason;
    return 0;
  }

  void poll(fuzz::tInput& input) {
    using harness::tLinkEnd;
    auto const send = input.oneOf<nk_transferFunction>(
        {tLinkEnd::send, tLinkEnd::send, refuse<EIO>, refuse<EAGAIN>, nullptr});
    m_toEngine.readLimit = input.oneOf({0xFFFFFFFFU, 1U, 40U});
    bool const reads = input.below(4) != 3;
    m_engine.end.sendCalls = 0;
    m_engine.end.sendSteps = {{1 + input.below(50), 0}, {0, EAGAIN}, {1, 0}};

    tBlob const waiting(m_toEngine.bytes);
    m_engine.engine.poll(nullptr, &m_engine.end, send, reads ? tLinkEnd::receive : nullptr);
    unsigned int const taken = waiting.size() - m_toEngine.bytes.size();
    m_model.stream.append(waiting.data(), taken);
    m_model.handleOutgoing(send != nullptr, send == tLinkEnd::send);
    if (taken != 0 || m_newData) m_model.handleStream();
    m_newData = false;
    compare();
  }
  void compare() {
    require(std::exchange(m_engine.requests, {}) == std::exchange(m_model.requests, {}),
            "each request is handed over once");
    require(std::exchange(m_engine.answers, {}) == std::exchange(m_model.answers, {}),
            "each answer and time-out meets its request");
    for (auto const& telegram : std::exchange(m_model.toPeers, {})) checkSent(telegram);
    require(m_toPeers.bytes.empty(), "nothing else goes out");
  }
  void checkSent(tModel::tTelegram const& telegram) {
    tPart part;
    tBlob joined;
    unsigned int number = 0;
    do {
      require(part.streamContainsTelegram(&m_toPeers.bytes), "what is sent are frames");
      require(part.telegramId() == telegram.id && part.sourceAddress() == ownAddress &&
                  part.destinationAddress() == telegram.destination &&
                  part.isResponse() == telegram.isResponse && part.partId() == ++number &&
                  part.payload()->size() <= payloadSize,
              "they bear their telegram's header");
      joined.append(*part.payload());
    } while (!part.isLastPart());
    require(contentOf(part, joined) == telegram.content, "and carry its content");
  }

  harness::tFakeClock m_clock;
  harness::tPipe m_toEngine, m_toPeers;
  harness::tEndpoint m_engine{ownAddress, &m_toEngine, &m_toPeers, defaultTimeout_s};
  tModel m_model;
  unsigned int m_arrivals = 0;
  bool m_newData = false;
  char m_userData[7] = {};
};

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  return fuzz::tell<tStory>(data, size);
}
