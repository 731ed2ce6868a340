#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>

#include "nkProtocol/protocol.h"

// Prints how much memory an engine takes from the heap, idle and with 1 MiB on its way, one line
// "WHAT: BYTES" for each figure. docs/footprint.md keeps them; `./dev arm` compares.

// The C library's own allocator, under the one below that counts.
extern "C" void* libcMalloc(std::size_t size) asm("__libc_malloc");
extern "C" void* libcCalloc(std::size_t count, std::size_t size) asm("__libc_calloc");
extern "C" void* libcRealloc(void* block, std::size_t size) asm("__libc_realloc");
extern "C" void libcFree(void* block) asm("__libc_free");

namespace {

unsigned int held = 0, peak = 0;  // bytes of all blocks that are in use; there is one thread

void* took(void* block) {
  held += static_cast<unsigned int>(::malloc_usable_size(block));
  peak = std::max(peak, held);
  return block;
}

void gave(void* block) { held -= static_cast<unsigned int>(::malloc_usable_size(block)); }

}  // namespace

// The libraries' calls end here, operator new's included.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the headers' are reserved
#define COUNTED extern "C" [[gnu::visibility("default")]]
COUNTED void* malloc(std::size_t size) noexcept { return took(libcMalloc(size)); }
COUNTED void* calloc(std::size_t count, std::size_t size) noexcept {
  return took(libcCalloc(count, size));
}
COUNTED void* realloc(void* block, std::size_t size) noexcept {
  gave(block);
  return took(libcRealloc(block, size));
}
COUNTED void free(void* block) noexcept {
  gave(block);
  libcFree(block);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

constexpr unsigned int contentSize = 1 << 20;
constexpr unsigned int segment = 1448;  // bytes that a link gives at once
unsigned char wire[2 * contentSize];
unsigned int written = 0, taken = 0;

unsigned int send(nk_server*, void*, unsigned char* data, unsigned int length, int*) {
  length = std::min({length, static_cast<unsigned int>(sizeof wire) - written});
  std::copy_n(data, length, wire + written);
  written += length;
  return length;
}

unsigned int receive(nk_server*, void*, unsigned char* data, unsigned int length, int*) {
  length = std::min({length, segment, written - taken});
  std::copy_n(wire + taken, length, data);
  taken += length;
  return length;
}

unsigned char content[contentSize];  // what is sent

void received(unsigned int, tBlob* arrived, void* right) {
  *static_cast<bool*>(right) =
      arrived->size() == contentSize && std::equal(content, content + contentSize, arrived->data());
  arrived->clear();
}

// Runs `work` with an engine and prints what the two took at most, and what they hold in the end.
template <typename tWork>
void measure(char const* name, void* context, tWork&& work) {
  unsigned int const before = held;
  peak = held;
  auto engine = std::make_unique<nk_protocol>(2, received, context, 10, nullptr, nullptr, nullptr);
  work(*engine);
  std::printf("%s, peak: %u\n%s, afterwards: %u\n", name, peak - before, name, held - before);
}

bool transfer(char const* name, bool noise, unsigned int partSize) {
  nk_protocol::setMaxPayloadSize(partSize);
  written = taken = 0;
  // Noise cannot be compressed, bytes of two bits can.
  std::mt19937 source(1);
  for (auto& byte : content) byte = static_cast<unsigned char>(source() & (noise ? 255U : 3U));
  measure((std::string(name) + ", sender").c_str(), nullptr, [&](nk_protocol& engine) {
    tBlob whole(content, contentSize);
    engine.enqueue_TS(&whole, 2, nullptr, 0, nullptr);
    engine.poll(nullptr, nullptr, send, nullptr);
  });
  bool arrived = false;
  measure((std::string(name) + ", receiver").c_str(), &arrived, [](nk_protocol& engine) {
    while (taken < written) engine.poll(nullptr, nullptr, send, receive);
  });
  return arrived;
}

}  // namespace

int main() {
  setvbuf(stdout, nullptr, _IONBF, 0);
  measure("idle engine", nullptr,
          [](nk_protocol& engine) { engine.poll(nullptr, nullptr, send, receive); });
  bool const all = transfer("1 MiB of noise in one part", true, 1 << 20) &&
                   transfer("1 MiB of noise in parts of 4 KiB", true, 4096) &&
                   transfer("1 MiB that compresses, in one part", false, 1 << 20);
  if (!all) std::fprintf(stderr, "footprint: the content did not arrive as it was sent\n");
  return all ? 0 : 1;
}
