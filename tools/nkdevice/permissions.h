#pragma once

#include <set>
#include <string>

/// Who asks the panel for something.
struct tAsker {
  unsigned int station;  ///< telegram address, as the telegram claims it
  std::string peer;      ///< the other end of the connection, for people
};

/// What stations may order. Reading is free. Addresses are what telegrams claim, so this keeps
/// mistakes out, not attackers.
struct tPermissions {
  bool shutDown = true;             ///< SHUTDOWN is obeyed
  std::set<unsigned int> stations;  ///< who may change the panel or shut it down; empty: everyone

  /// True if `station` may change what the panel holds. Never true for the two addresses that
  /// belong to no station: nobody could be asked about it later.
  bool mayChange(unsigned int station) const;
  bool mayShutDown(unsigned int station) const { return shutDown && mayChange(station); }
  /// " by station 7" for the words of an event, if that station is in the list. Others stay
  /// unnamed: anyone can claim any number of addresses, and as events count only what happens again
  /// in the same words, each address would push an older event out of the record.
  std::string by(unsigned int station) const;
};
