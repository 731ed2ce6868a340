#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "nkProtocol/protocol.h"

namespace {

using benchmark::State;

/// An engine without log output; keeps the content of the last request it was given.
struct tNode {
  tNode(unsigned int address, harness::tPipe& in, harness::tPipe& out)
      : engine(address, received, this, 10, nullptr, nullptr, nullptr) {
    end.in = &in;
    end.out = &out;
  }
  void poll() { engine.poll(nullptr, &end, harness::tLinkEnd::send, harness::tLinkEnd::receive); }

  static void received(unsigned int, tBlob* content, void* context) {
    auto& self = *static_cast<tNode*>(context);
    ++self.count;
    if (!self.echo) self.content.swap(*content), content->clear();
  }
  static void answered(unsigned int, tBlob*, void* context, bool, void*) {
    ++static_cast<tNode*>(context)->count;
  }

  bool echo = false;
  unsigned int count = 0;  // requests received and answers received
  tBlob content;
  harness::tLinkEnd end;
  nk_protocol engine;
};

struct tNodes {
  harness::tPipe toB, toA;
  tNode a{1, toA, toB};
  tNode b{2, toB, toA};
};

tBlob frame(unsigned int id, unsigned int src, unsigned int dest, tBlob payload,
            nk_basicTelegram::teType type) {
  nk_telegramPart part(id, src, dest, 1, 0, true, &payload, type,
                       nk_basicTelegram::COMPRESSION_NONE);
  tBlob bytes;
  part.serialize(&bytes);
  return bytes;
}

void copies(State& state, unsigned int size, unsigned int count) {
  tBlob const from = harness::noise(size);
  tBlob to = from;
  for (auto _ : state) {
    for (unsigned int i = 0; i < count; ++i) {
      std::memcpy(to.data(), from.data(), size);
      benchmark::ClobberMemory();
    }
  }
}

void frameRoundTrip(State& state) {
  tBlob payload = harness::noise(1 << 20);
  nk_telegramPart part(1, 1, 2, 1, 0, true, &payload, nk_basicTelegram::TYPE_RESPONSE,
                       nk_basicTelegram::COMPRESSION_NONE);
  nk_telegramPart read;
  tBlob stream;
  for (auto _ : state) {
    if (!part.serialize(&stream) || !read.streamContainsTelegram(&stream)) {
      return state.SkipWithError("no frame");
    }
  }
}

void transfer(State& state, unsigned int size, unsigned int readLimit) {
  tNodes nodes;
  nodes.toB.readLimit = readLimit;
  tBlob content = harness::noise(size);
  auto const once = [&] {
    nodes.b.count = 0;
    nodes.a.engine.enqueue_TS(&content, 2, nullptr, 0, nullptr);
    nodes.a.poll();
    while (nodes.b.count == 0) nodes.b.poll();
    content.swap(nodes.b.content);
  };
  once();  // brings the memory of all buffers in
  for (auto _ : state) once();
  if (content.size() != size) return state.SkipWithError("content lost");
}

void requestResponse(State& state) {
  tNodes nodes;
  nodes.b.echo = true;
  tBlob const message = harness::noise(64);
  tBlob content;
  nk_responseCallback const count = [](unsigned int, tBlob*, void* context, bool, void*) {
    ++static_cast<tNode*>(context)->count;
  };
  for (auto _ : state) {
    content = message;
    nodes.a.engine.enqueue_TS(&content, 2, count, 0, nullptr);
    nodes.a.poll();
    nodes.b.poll();
    nodes.b.poll();
    nodes.a.poll();
  }
  if (nodes.a.count != state.iterations()) state.SkipWithError("answers lost");
}

void socketPair(State& state) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return state.SkipWithError("no sockets");
  tBlob message = harness::noise(64);
  bool good = true;
  for (auto _ : state) {
    for (int const from : {0, 1}) {
      good = good && ::write(ends[from], message.data(), 64) == 64 &&
             ::read(ends[1 - from], message.data(), 64) == 64;
    }
  }
  if (!good) state.SkipWithError("bytes lost");
  ::close(ends[0]);
  ::close(ends[1]);
}

void zeroMq(State& state) {
  std::unique_ptr<void, int (*)(void*)> const context(zmq_ctx_new(), zmq_ctx_term);
  std::unique_ptr<void, int (*)(void*)> const router(zmq_socket(context.get(), ZMQ_ROUTER),
                                                     zmq_close);
  std::unique_ptr<void, int (*)(void*)> const dealer(zmq_socket(context.get(), ZMQ_DEALER),
                                                     zmq_close);
  if (zmq_bind(router.get(), "inproc://pair") != 0 ||
      zmq_connect(dealer.get(), "inproc://pair") != 0) {
    return state.SkipWithError("no inproc link");
  }
  tBlob message = harness::noise(64);
  unsigned char identity[256];
  bool good = true;
  for (auto _ : state) {
    good = good && zmq_send(dealer.get(), message.data(), 64, 0) == 64;
    int const length = zmq_recv(router.get(), identity, sizeof identity, 0);
    good = good && length > 0 && zmq_recv(router.get(), message.data(), 64, 0) == 64;
    good = good &&
           zmq_send(router.get(), identity, static_cast<std::size_t>(length), ZMQ_SNDMORE) > 0 &&
           zmq_send(router.get(), message.data(), 64, 0) == 64;
    good = good && zmq_recv(dealer.get(), message.data(), 64, 0) == 64;
  }
  if (!good) state.SkipWithError("messages lost");
}

void smallFrames(State& state, unsigned int count) {
  tNodes nodes;
  tBlob stream;
  for (unsigned int i = 0; i < count; ++i) {
    stream.append(frame(i, 1, 2, harness::noise(20), nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE));
  }
  for (auto _ : state) {
    nodes.b.count = 0;
    nodes.b.engine.pushData(stream.data(), stream.size());
    nodes.b.poll();
    if (nodes.b.count != count) return state.SkipWithError("frames lost");
  }
  state.SetItemsProcessed(state.iterations() * count);
}

/// A frame whose bytes come one at each poll.
void byteByByte(State& state, unsigned int size) {
  tNodes nodes;
  tBlob stream = frame(1, 1, 2, harness::noise(size), nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE);
  for (auto _ : state) {
    nodes.b.count = 0;
    for (unsigned int i = 0; i < stream.size(); ++i) {
      nodes.b.engine.pushData(stream.data() + i, 1);
      nodes.b.poll();
    }
    if (nodes.b.count != 1) return state.SkipWithError("frame lost");
  }
  state.SetItemsProcessed(state.iterations() * stream.size());
}

/// Requests of which all are pending before the first answer comes; an answer at each poll.
void pendingRequests(State& state, unsigned int count) {
  tNodes nodes;
  std::vector<unsigned int> ids(count);
  std::iota(ids.begin(), ids.end(), 1u);
  std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
  std::vector<tBlob> answers;
  for (unsigned int const id : ids) {
    answers.push_back(frame(id, 2, 1, harness::noise(20), nk_basicTelegram::TYPE_RESPONSE));
  }
  for (auto _ : state) {
    nodes.a.count = 0;
    nk_protocol::u32TlgNumber = 0;
    for (unsigned int i = 0; i < count; ++i) {
      tBlob content("?", 1);
      nodes.a.engine.enqueue_TS(&content, 2, tNode::answered, 0, nullptr);
      nodes.a.poll();
      nodes.toB.bytes.clear();
    }
    for (auto& answer : answers) {
      nodes.a.engine.pushData(answer.data(), answer.size());
      nodes.a.poll();
    }
    if (nodes.a.count != count) return state.SkipWithError("answers lost");
  }
  state.SetItemsProcessed(state.iterations() * count);
}

/// Takes a little at a time and lets the receiving engine, `ctx`, handle it at once: what a link
/// with a small buffer and a reader that keeps up does.
unsigned int sendDirectly(nk_server*, void* ctx, unsigned char* data, unsigned int length, int*) {
  auto& receiver = *static_cast<tNode*>(ctx);
  unsigned int const taken = std::min(length, 16384u);
  receiver.engine.pushData(data, taken);
  receiver.poll();
  return taken;
}

void smallPayloads(State& state, unsigned int size) {
  unsigned int const before = nk_telegram::s_u32MaxPayloadSize;
  nk_protocol::setMaxPayloadSize(1024);
  tNodes nodes;
  tBlob content = harness::noise(size);
  auto const once = [&] {
    nodes.a.engine.enqueue_TS(&content, 2, nullptr, 0, nullptr);
    nodes.a.engine.poll(nullptr, &nodes.b, sendDirectly, nullptr);
    content.swap(nodes.b.content);
  };
  once();  // brings the memory of all buffers in
  for (auto _ : state) once();
  if (content.size() != size) state.SkipWithError("content lost");
  nk_protocol::setMaxPayloadSize(before);
  state.SetItemsProcessed(state.iterations() * (size / 1024));
}

void rows() {
  constexpr unsigned int kib = 1024;
  constexpr unsigned int mib = 1024 * kib;
  bench::atLeast("frame: write, find and check, 1 MiB payload, against memcpy", 1.0 / 14,
                 frameRoundTrip, [](State& state) { copies(state, mib, 1); });
  for (unsigned int const size : {64 * kib, mib}) {
    std::string const name = "transfer of " + std::to_string(size / kib) + " KiB, ";
    auto const whole = [size](State& state) { transfer(state, size, 32768); };
    bench::atLeast(name + "32 KiB reads, against five copies", 0.16, whole,
                   [size](State& state) { copies(state, size, 5); });
    bench::atMost(
        name + "1448-byte reads, against 32 KiB reads", 1.2,
        [size](State& state) { transfer(state, size, 1448); }, whole);
  }
  bench::atLeast("64-byte request and response, against a socket pair", 5, requestResponse,
                 socketPair);
  bench::atLeast("64-byte request and response, against ZeroMQ inproc", 0.33, requestResponse,
                 zeroMq);
  bench::atMost(
      "10,000 small frames in one buffer, per frame, against 1,000", 1.3,
      [](State& state) { smallFrames(state, 10000); },
      [](State& state) { smallFrames(state, 1000); });
  bench::atMost(
      "1 MiB frame, one byte at each poll, per byte, against 100 KiB", 1.3,
      [](State& state) { byteByByte(state, mib); },
      [](State& state) { byteByByte(state, 100 * kib); });
  bench::atMost(
      "10,000 pending requests, answers in random order, per request, against 1,000", 1.3,
      [](State& state) { pendingRequests(state, 10000); },
      [](State& state) { pendingRequests(state, 1000); });
  bench::atMost(
      "16 MiB in 1 KiB payloads, per payload, against 1.6 MiB", 1.3,
      [](State& state) { smallPayloads(state, 16 * mib); },
      [](State& state) { smallPayloads(state, 16 * mib / 10); });
}
bench::tRegister const registered(rows);

}  // namespace
