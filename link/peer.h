#pragma once

#include <asio/ip/address.hpp>
#include <string>

/// Who is at the other end of a connection, as far as the system knows.
struct nk_peer {
  /// For people: "192.168.1.7:40123", "[fe80::1]:40123", "uid 1000, pid 4711".
  std::string name;
  /// What all connections from one place have in common: the IP address, of IPv6 the network of 64
  /// bits, as one host has all of its addresses; or the user of a Unix socket. Empty if connections
  /// from there need not be told apart, as on a serial line.
  std::string origin;

  /// The peer of the connected socket `descriptor`. A peer that has left already has the name
  /// "unknown peer", which is its origin too.
  static nk_peer of(int descriptor);
  /// The peer at a port of an IP address; one that maps an IPv4 address counts as that.
  static nk_peer at(asio::ip::address address, unsigned short port);
};
