#include "link/peer.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/ip/tcp.hpp>

namespace {

using tEndpoint = asio::ip::tcp::endpoint;

// A socket for both families names IPv4 peers in the manner of IPv6.
asio::ip::address plainAddress(asio::ip::address const& address) {
  if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return address;
  return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
}

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
  auto const address = plainAddress(endpoint.address());
  auto const port = std::to_string(endpoint.port());
  return {address.is_v6() ? "[" + address.to_string() + "]:" + port : address.to_string() + ":" + port,
          originOf(address)};
}
