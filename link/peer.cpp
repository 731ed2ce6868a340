#include "link/peer.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/ip/tcp.hpp>
#include <charconv>

namespace {

using tEndpoint = asio::ip::tcp::endpoint;

std::string originOf(asio::ip::address const& address) {
  if (address.is_v4()) return address.to_string();
  auto bytes = address.to_v6().to_bytes();
  std::fill(bytes.begin() + bytes.size() / 2, bytes.end(), static_cast<unsigned char>(0));
  return asio::ip::address_v6(bytes).to_string() + "/64";
}

std::string originOf(uid_t user) { return "uid " + std::to_string(user); }

nk_peer unixPeer(int descriptor) {
  ucred user{};
  socklen_t size = sizeof user;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &user, &size) != 0)
    return {"unknown peer", "unknown peer"};
  auto const origin = originOf(user.uid);
  return {origin + ", pid " + std::to_string(user.pid), origin};
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
  return {name + ":" + std::to_string(port), originOf(address), address};
}

bool nk_peerList::add(std::string const& text) {
  uid_t user = 0;
  auto const* const end = text.data() + text.size();
  if (auto const read = std::from_chars(text.data(), end, user);
      read.ec == std::errc() && read.ptr == end) {
    m_users.insert(originOf(user));
    return true;
  }
  bool const six = text.find(':') != text.npos, whole = text.find('/') == text.npos;
  auto const network = whole ? text + (six ? "/128" : "/32") : text;
  std::error_code problem;
  if (six) {
    auto const added = asio::ip::make_network_v6(network, problem);
    if (!problem) m_networks6.push_back(added);
  } else {
    auto const added = asio::ip::make_network_v4(network, problem);
    if (!problem) m_networks4.push_back(added);
  }
  return !problem;
}

bool nk_peerList::contains(nk_peer const& peer) const {
  if (m_networks4.empty() && m_networks6.empty() && m_users.empty()) return true;
  if (!peer.address) return m_users.contains(peer.origin);
  auto const isIn = [](auto const& networks, auto const& address) {
    return std::any_of(networks.begin(), networks.end(), [&address](auto const& network) {
      auto const own = std::decay_t<decltype(network)>(address, network.prefix_length());
      return own.canonical() == network.canonical();
    });
  };
  return peer.address->is_v4() ? isIn(m_networks4, peer.address->to_v4())
                               : isIn(m_networks6, peer.address->to_v6());
}
