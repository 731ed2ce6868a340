#include <cstdio>
#include <memory>

#include "link/linkGuard.h"
#include "nkProtocol/nkProtocol.h"

namespace {

constexpr unsigned int stationAddress = 1, ownAddress = 2;

unsigned int send(nk_server*, void* ctx, unsigned char* data, unsigned int length, int*) {
  return static_cast<tBlob*>(ctx)->append(data, length) ? length : 0;
}

void asked(unsigned int address, tBlob* content, void*) {
  std::unique_ptr<nk_message> const message(nk_message::getMessage(content));
  content->clear();
  if (message) std::printf("%s from %u\n", message->typeName().c_str(), address);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a lack of memory may end it
int main() {
  // What arrives: an end byte, which would block the engine, the beginning of a frame, a request.
  unsigned char const noise[] = {0x02, 'n', 'o', 'i', 's', 'e', 0x01, 0x80};
  tBlob line(noise, sizeof noise);
  nk_protocol station(stationAddress, nullptr, nullptr, 10, nullptr, nullptr, nullptr);
  nk_messageShutdown request(nk_message::VERSION_0);
  nk_serializer content;
  if (!request.serializeMsg(&content)) return 1;
  station.enqueue_TS(&content, ownAddress, nullptr, 0, nullptr);
  station.poll(nullptr, &line, send, nullptr);

  nk_protocol engine(ownAddress, asked, nullptr, 10, nullptr, nullptr, nullptr);
  nk_linkGuard guard(
      nk_linkGuard::tOptions::all(ownAddress),
      [&engine](unsigned char* frame, unsigned int length) { engine.pushData(frame, length); });
  guard.receive(line.data(), line.size());     // what a read of the link gave
  engine.poll(nullptr, &line, send, nullptr);  // no receive function: the guard feeds it
  std::printf("%llu bytes skipped\n", guard.counters().skippedBytes);
}
