#pragma once

#include <asio/ip/address.hpp>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/network_v6.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// Who is at the other end of a connection, as far as the system knows.
struct nk_peer {
  /// For people: "192.168.1.7:40123", "[fe80::1]:40123", "uid 1000, pid 4711".
  std::string name;
  /// What all connections from one place have in common: the IP address, of IPv6 the network of 64
  /// bits, as one host has all of its addresses; or the user of a Unix socket. Empty if connections
  /// from there need not be told apart, as on a serial line.
  std::string origin;
  /// The IP address; none on a Unix socket or a serial line.
  std::optional<asio::ip::address> address{};

  /// The peer of the connected socket `descriptor`. A peer that has left already has the name
  /// "unknown peer", which is its origin too.
  static nk_peer of(int descriptor);
  /// The peer at a port of an IP address; one that maps an IPv4 address counts as that.
  static nk_peer at(asio::ip::address address, unsigned short port);
};

/// Which peers may connect.
class nk_peerList {
 public:
  /// Adds an IP address ("192.168.1.7"), a network ("10.0.0.0/8", "fe80::/10") or the number of a
  /// user of a Unix socket ("1000"). False, with the list as it was, for anything else.
  bool add(std::string const& text);
  /// True for every peer as long as nothing was added.
  bool contains(nk_peer const& peer) const;

 private:
  std::vector<asio::ip::network_v4> m_networks4;
  std::vector<asio::ip::network_v6> m_networks6;
  std::set<std::string> m_users;
};
