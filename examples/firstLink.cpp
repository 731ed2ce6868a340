#include <cstdio>
#include <memory>

#include "nkProtocol/nkProtocol.h"

// The link: what one side sends waits here for the other. Any byte stream will do.
tBlob toPanel, toStation;

template <tBlob& pipe>
unsigned int send(nk_server*, void*, unsigned char* data, unsigned int length, int*) {
  return pipe.append(data, length) ? length : 0;
}

template <tBlob& pipe>
unsigned int receive(nk_server*, void*, unsigned char* data, unsigned int length, int*) {
  if (length > pipe.size()) length = pipe.size();
  if (length != 0) std::memcpy(data, pipe.data(), length);
  pipe.slice(length);
  return length;
}

// The panel is asked: it rebuilds the message, and leaves its answer in the content.
void asked(unsigned int, tBlob* content, void*) {
  std::unique_ptr<nk_message> const message(nk_message::getMessage(content));
  content->clear();
  if (auto* request = dynamic_cast<nk_messageGenericReq*>(message.get())) {
    nk_messageGenericRsp response(request->version(), request->text1, "hello, station");
    nk_serializer bytes;
    if (response.serializeMsg(&bytes)) content->swap(bytes);
  }
}

// The station gets its answer, or learns that none came in time.
void answered(unsigned int address, tBlob* content, void*, bool timedOut, void*) {
  if (timedOut) return;
  std::unique_ptr<nk_message> const message(nk_message::getMessage(content));
  if (auto* response = dynamic_cast<nk_messageGenericRsp*>(message.get())) {
    std::printf("panel %u says: %s\n", address, response->text2.c_str());
  }
}

int main() {
  nk_protocol station(1, nullptr, nullptr, 10, nullptr, nullptr, nullptr);
  nk_protocol panel(2, asked, nullptr, 10, nullptr, nullptr, nullptr);

  nk_messageGenericReq request(nk_message::VERSION_0, "greeting", "hello, panel");
  nk_serializer bytes;
  if (!request.serializeMsg(&bytes)) return 1;
  station.enqueue_TS(&bytes, 2, answered, 0, nullptr);

  for (int round = 0; round < 2; ++round) {
    station.poll(nullptr, nullptr, send<toPanel>, receive<toStation>);
    panel.poll(nullptr, nullptr, send<toStation>, receive<toPanel>);
    panel.poll(nullptr, nullptr, send<toStation>, receive<toPanel>);
  }
}
