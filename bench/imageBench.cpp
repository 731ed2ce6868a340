// How often the content of an image is copied on its way into a message and out of it.

#include <memory>
#include <vector>

#include "bench/compare.h"
#include "harness/hex.h"
#include "nkProtocol/imageMessage.h"

namespace {

using benchmark::State;

constexpr unsigned int size = 10 << 20;

nk_messageImage& message() {
  static std::unique_ptr<nk_messageImage> const one = [] {
    auto made = std::make_unique<nk_messageImage>(nk_message::VERSION_2);
    tBlob content = harness::noise(size);
    made->add(1, "", "image/png", &content);
    return made;
  }();
  return *one;
}

// Copies, all of them there at the end, into memory that is asked for anew each time.
void copies(State& state, unsigned int count) {
  for (auto _ : state) {
    std::vector<tBlob> made;
    for (unsigned int i = 0; i < count; ++i) made.emplace_back(message().get(0)->content());
    benchmark::DoNotOptimize(made.data());
  }
}

void write(State& state) {
  for (auto _ : state) {
    nk_serializer ser;
    if (!message().serializeMsg(&ser)) return state.SkipWithError("not written");
    benchmark::DoNotOptimize(ser.data());
  }
}

void read(State& state) {
  nk_serializer bytes;
  message().serializeMsg(&bytes);
  for (auto _ : state) {
    std::unique_ptr<nk_message> const read(nk_message::getMessage(&bytes));
    if (static_cast<nk_messageImage&>(*read).get(0)->content().size() != size) {
      return state.SkipWithError("content lost");
    }
  }
}

void rows() {
  // No limits: whether memory of this size comes fresh from the system, which is decided by what
  // was asked for before, takes more time than the copies (one row gave 0.6 to 2.6 in unchanged
  // code).
  bench::tell("write an image of 10 MiB, against one copy", write,
              [](State& state) { copies(state, 1); });
  bench::tell("read an image of 10 MiB, against two copies", read,
              [](State& state) { copies(state, 2); });
}
bench::tRegister const registered(rows);

}  // namespace
