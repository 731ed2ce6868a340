#pragma once

#include <string>
#include <vector>

#include "link/linkGuard.h"
#include "nkProtocol/telegram.h"
#include "tools/nkexplain/note.h"

namespace nk_explain {

/// Explains the bytes that cross a link in one direction: cuts them into frames, joins these to
/// telegrams and reads the messages. The code of the library and of the guard decides what is good
/// and what is not; what is added here is only why. Parts do not expire: recorded bytes have no
/// time. Not synchronised.
class tStream {
 public:
  /// `name` stands in every note; may be empty. A frame that does not end is given up once it has
  /// more than `maxHeld` bytes; so are incomplete telegrams that take more together.
  tStream(std::string name, tTeller tell, unsigned int maxHeld = nk_linkGuard::tOptions().maxHeld);
  tStream(tStream const&) = delete;
  tStream& operator=(tStream const&) = delete;

  /// Takes the next bytes and tells what they complete.
  void feed(unsigned char const* bytes, unsigned int size);
  /// Tells that bytes are missing at this place. An unfinished frame before it ends there.
  void gap(unsigned int size);
  /// Tells what is left unfinished at the end.
  void finish();

 private:
  tNote note(std::string kind) const;
  unsigned int firstStart();
  void forget(unsigned int size);
  void drop(unsigned int size, std::string why);
  void frame(unsigned int size);
  void part(nk_telegramPart& part, tBlob const& frame);
  void join(std::vector<tBlob>& frames);
  void dropped(nk_heldTelegrams::tDropped const& telegram);
  void telegram(nk_basicTelegram const& header, unsigned int parts, unsigned int encodedSize,
                tBlob& content);
  void message(tBlob& content, unsigned int encodedSize);

  std::string const m_name;
  tTeller const m_tell;
  tBlob m_bytes;
  unsigned int m_searched = 0;      // bytes of m_bytes in which there is no end byte
  unsigned int m_noStart = 0;       // first bytes of m_bytes among which there is no start byte
  unsigned long long m_offset = 0;  // of m_bytes in the stream
  unsigned int const m_mostWaiting;
  nk_heldTelegrams m_held;
};

}  // namespace nk_explain
