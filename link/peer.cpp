#include "link/peer.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/ip/tcp.hpp>

namespace {

using tEndpoint = asio::ip::tcp::endpoint;

std::string originOf(asio::ip::address const& address) {
  if (address.is_v4()) return address.to_string();
  auto bytes = address.to_v6().to_bytes();
  std::fill(bytes.begin() + bytes.size() / 2, bytes.end(), static_cast<unsigned char>(0));
  return asio::ip::address_v6(bytes).to_string() + "/64";
}

nk_peer unixPeer(int descriptor) {
  ucred user{};
  socklen_t size = sizeof user;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &user, &size) != 0)
    return {"unknown peer", "unknown peer"};
  auto const name = "uid " + std::to_string(user.uid);
  return {name + ", pid " + std::to_string(user.pid), name};
}

}  // namespace

nk_peer nk_peer::of(int descriptor) {
  tEndpoint endpoint;
  auto size = static_cast<socklen_t>(endpoint.capacity());
  if (::getpeername(descriptor, endpoint.data(), &size) != 0)
    return {"unknown peer", "unknown peer"};
  auto const family = endpoint.data()->sa_family;
  if (family != AF_INET && family != AF_INET6) return unixPeer(descriptor);
  return at(endpoint.address(), endpoint.port());
}

nk_peer nk_peer::at(asio::ip::address address, unsigned short port) {
  // So a socket for both families names peers of IPv4.
  if (address.is_v6() && address.to_v6().is_v4_mapped())
    address = asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
  auto const text = address.to_string();
  auto const name = address.is_v6() ? "[" + text + "]" : text;
  return {name + ":" + std::to_string(port), originOf(address)};
}
