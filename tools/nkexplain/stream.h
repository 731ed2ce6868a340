#pragma once

#include <array>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "nkProtocol/telegram.h"
#include "tools/nkexplain/note.h"

namespace nk_explain {

/// Explains the bytes that cross a link in one direction: cuts them into frames, joins these to
/// telegrams and reads the messages. What is good and what is not is decided by the library's own
/// code; what is added here is only why. Bytes and telegrams that never become complete are given
/// up once they are more than any that could be taken. Not synchronised.
class tStream {
 public:
  /// `name` stands in every note; may be empty.
  tStream(std::string name, tTeller tell) : m_name(std::move(name)), m_tell(std::move(tell)) {}

  /// Takes the next bytes and tells what they complete.
  void feed(unsigned char const* bytes, unsigned int size);
  /// Tells that bytes are missing at this place. An unfinished frame before it ends there.
  void gap(unsigned int size);
  /// Tells what is left unfinished at the end.
  void finish();

 private:
  using tKey = std::array<unsigned int, 3>;
  struct tReceiving {
    tReceiving(tKey const& of, nk_telegramPart* first) : key(of), telegram(first) {}
    tKey const key;
    nk_telegram telegram;
    unsigned int parts = 1;
    unsigned int bytes = 0;
  };
  using tPlace = std::list<tReceiving>::iterator;

  tNote note(std::string kind) const;
  unsigned int firstStart();
  void forget(unsigned int size);
  void drop(unsigned int size, std::string why);
  void frame(unsigned int size);
  void part(nk_telegramPart& part);
  void file(nk_telegramPart& part, tKey const& key);
  void grow(tPlace place, unsigned int size);
  void giveUp(tPlace place, char const* why);
  void remove(tPlace place);
  void telegram(nk_telegramPart& part, unsigned int parts, tBlob* content, std::string fault);
  void message(tBlob& content);

  std::string const m_name;
  tTeller const m_tell;
  tBlob m_bytes;
  unsigned int m_searched = 0;        // bytes of m_bytes in which there is no end byte
  unsigned int m_noStart = 0;         // first bytes of m_bytes among which there is no start byte
  unsigned long long m_offset = 0;    // of m_bytes in the stream
  std::list<tReceiving> m_receiving;  // the one that grew last stands last
  std::map<tKey, tPlace> m_byKey;
  unsigned int m_receivingBytes = 0;
};

}  // namespace nk_explain
