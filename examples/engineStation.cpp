#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "nkProtocol/nkProtocol.h"

namespace {

constexpr unsigned int ownAddress = 1, panel = 2;

struct tLink {
  int socket = -1;
  bool over = false;
};

// Both are handed the `ctx` of poll, here the link. The socket blocks, so this one never has to
// say EAGAIN, on which the engine would pause.
unsigned int send(nk_server*, void* ctx, unsigned char* data, unsigned int length, int* error) {
  auto& link = *static_cast<tLink*>(ctx);
  auto const count = ::send(link.socket, data, length, MSG_NOSIGNAL);
  if (count > 0) return static_cast<unsigned int>(count);
  *error = errno;
  link.over = true;
  return 0;
}

unsigned int receive(nk_server*, void* ctx, unsigned char* data, unsigned int length, int*) {
  auto& link = *static_cast<tLink*>(ctx);
  auto const count = ::recv(link.socket, data, length, MSG_DONTWAIT);
  if (count > 0) return static_cast<unsigned int>(count);
  link.over = count == 0 || (errno != EAGAIN && errno != EINTR);
  return 0;
}

// Called once at most, inside poll: with the answer, or when its time is up. `userData` is what
// enqueue_TS was given.
void answered(unsigned int address, tBlob* content, void*, bool timedOut, void* userData) {
  *static_cast<bool*>(userData) = true;
  if (timedOut) {
    std::printf("no answer in time\n");
    return;
  }
  std::unique_ptr<nk_message> const message(nk_message::getMessage(content));
  if (auto* time = dynamic_cast<nk_messageTime*>(message.get())) {
    std::printf("panel %u has a clock: %s\n", address, time->currentTime != 0 ? "yes" : "no");
  }
}

int connectTo(char const* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
  int const descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
  auto const* generic = reinterpret_cast<sockaddr const*>(&address);
  if (::connect(descriptor, generic, sizeof address) == 0) return descriptor;
  ::close(descriptor);
  return -1;
}

}  // namespace

int main(int count, char** arguments) {
  tLink link;
  if (count == 2) link.socket = connectTo(arguments[1]);
  if (link.socket < 0) {
    std::fprintf(stderr, "engineStation: cannot connect to %s\n",
                 count == 2 ? arguments[1] : "a Unix socket: its path is the one argument");
    return 3;
  }

  nk_protocol engine(ownAddress, nullptr, nullptr, 10, nullptr, nullptr, nullptr);
  nk_messageTime request(nk_message::VERSION_0);
  nk_serializer content;
  bool done = !request.serializeMsg(&content);
  engine.enqueue_TS(&content, panel, answered, 5, &done);

  while (!done && !link.over) {
    engine.poll(nullptr, &link, send, receive);
    pollfd wait{link.socket, POLLIN, 0};
    if (!done && !link.over) ::poll(&wait, 1, 100);  // time-outs fire inside poll, too
  }
  ::close(link.socket);
  return done ? 0 : 1;
}
