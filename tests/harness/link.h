#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "harness/hex.h"
#include "nkProtocol/protocol.h"
#include "nkSupport/tBlob.h"

namespace harness {

/// What a frame holds; unless told otherwise a whole request of the panel at address 2.
struct tFrame {
  unsigned int id;
  unsigned int number = 1;
  bool last = true;
  unsigned int from = 2, to = 1;
  nk_basicTelegram::teType type = nk_basicTelegram::TYPE_REQUEST_FORCE_RESPONSE;
  unsigned int timestamp = 0x65431234;
  unsigned int size = 3;  ///< of the payload, which follows from the id
  nk_basicTelegram::teCompression compression = nk_basicTelegram::COMPRESSION_NONE;
};

inline std::string bytesOf(tFrame const& frame) {
  tBlob payload = noise(frame.size, frame.id), out;
  nk_telegramPart part(frame.id, frame.from, frame.to, frame.number, frame.timestamp, frame.last,
                       &payload, frame.type, frame.compression);
  part.serialize(&out);
  return text(out);
}

/// One direction of an in-memory link.
struct tPipe {
  tBlob bytes;
  /// The most that one read gives.
  unsigned int readLimit = 0xFFFFFFFF;
};

/// What an engine's send and receive functions work on; given to poll as `ctx`.
struct tLinkEnd {
  tPipe* in = nullptr;
  tPipe* out = nullptr;
  /// What the next sends return: bytes taken (0: with `error`); when used up, all is taken.
  struct tSendStep {
    unsigned int taken;
    int error;
  };
  std::vector<tSendStep> sendSteps;
  unsigned int sendCalls = 0;

  static unsigned int send(nk_server*, void* ctx, unsigned char* data, unsigned int length,
                           int* error) {
    auto& end = *static_cast<tLinkEnd*>(ctx);
    unsigned int taken = length;
    if (end.sendCalls < end.sendSteps.size()) {
      tSendStep const step = end.sendSteps[end.sendCalls];
      taken = std::min(step.taken, length);
      if (taken == 0) *error = step.error;
    }
    ++end.sendCalls;
    end.out->bytes.append(data, taken);
    return taken;
  }

  static unsigned int receive(nk_server*, void* ctx, unsigned char* data, unsigned int length,
                              int*) {
    tPipe& pipe = *static_cast<tLinkEnd*>(ctx)->in;
    unsigned int const count = std::min({length, pipe.bytes.size(), pipe.readLimit});
    if (count != 0) std::memcpy(data, pipe.bytes.data(), count);
    pipe.bytes.slice(count);
    return count;
  }
};

/// An engine with its end of a link; keeps what its callbacks and its log were given.
class tEndpoint {
 public:
  struct tCall {
    unsigned int address;
    std::string content;
    bool timedOut;
    void* userData;
    bool operator==(tCall const&) const = default;
  };

  tEndpoint(unsigned int address, tPipe* in, tPipe* out, unsigned int defaultTimeout_s = 10)
      : engine(address, received, this, defaultTimeout_s, nullptr, this, logged) {
    end.in = in;
    end.out = out;
  }

  void poll() { engine.poll(nullptr, &end, tLinkEnd::send, tLinkEnd::receive); }
  void request(std::string_view content, unsigned int destination, unsigned int timeout_s = 0,
               void* userData = nullptr) {
    tBlob blob = bytes(content);
    engine.enqueue_TS(&blob, destination, answered, timeout_s, userData);
  }
  void tell(std::string_view content, unsigned int destination) {
    tBlob blob = bytes(content);
    engine.enqueue_TS(&blob, destination, nullptr, 0, nullptr);
  }
  /// The log since the last call.
  std::vector<std::string> takeLog() { return std::exchange(m_log, {}); }

  std::vector<tCall> requests;
  std::vector<tCall> answers;
  /// What requests are answered with; empty for no answer.
  std::string reply;
  tLinkEnd end;
  nk_protocol engine;

 private:
  static std::string textOf(tBlob const* content) {
    return content == nullptr ? "(null)" : text(*content);
  }
  static void received(unsigned int source, tBlob* content, void* context) {
    auto& self = *static_cast<tEndpoint*>(context);
    self.requests.push_back({source, textOf(content), false, nullptr});
    *content = bytes(self.reply);
  }
  static void answered(unsigned int address, tBlob* content, void* context, bool timedOut,
                       void* userData) {
    static_cast<tEndpoint*>(context)->answers.push_back(
        {address, textOf(content), timedOut, userData});
  }
  static void logged(void* context, char const* text) {
    static_cast<tEndpoint*>(context)->m_log.emplace_back(text);
  }

  std::vector<std::string> m_log;
};

/// Two engines with addresses 1 and 2, joined both ways.
struct tPair {
  tPipe toB, toA;
  tEndpoint a{1, &toA, &toB};
  tEndpoint b{2, &toB, &toA};

  /// Polls both sides until a request of A has been sent, handled and its answer received.
  void exchange() {
    a.poll();
    b.poll();
    b.poll();
    a.poll();
  }
};

}  // namespace harness
