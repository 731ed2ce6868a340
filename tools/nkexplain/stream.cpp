#include "tools/nkexplain/stream.h"

#include <algorithm>

#include "nkSupport/tCompression.h"
#include "protocol/frame.h"
#include "tools/common/messages.h"
#include "tools/nkexplain/bodies.h"
#include "tools/nkexplain/frameFields.h"

namespace {

// No frame or telegram of this size could be taken: the ceiling of content, encoded, and then some.
unsigned int mostWaiting() { return tCompression::maxDecodedSize() / 4 * 5 + 4096; }

// About what the lists take for one part, so that parts without payload have their price too.
constexpr unsigned int costPerPart = 256;

void addTelegramFacts(nk_explain::tNote& note, nk_basicTelegram const& telegram, char const* what,
                      unsigned int number) {
  note.facts.emplace_back("id", 0ULL + telegram.telegramId());
  note.facts.emplace_back("source", 0ULL + telegram.sourceAddress());
  note.facts.emplace_back("destination", 0ULL + telegram.destinationAddress());
  note.facts.emplace_back(what, 0ULL + number);
  note.facts.emplace_back("compression", nk_explain::compressionText(telegram.compression()));
}

}  // namespace

nk_explain::tNote nk_explain::tStream::note(std::string kind) const {
  tNote note;
  note.kind = std::move(kind);
  if (!m_name.empty()) note.facts.emplace_back("stream", m_name);
  return note;
}

void nk_explain::tStream::feed(unsigned char const* bytes, unsigned int size) {
  if (!m_bytes.append(bytes, size)) return drop(m_bytes.size(), "there is no memory for more");
  for (;;) {
    unsigned int const end = m_bytes.getIndexOf(frameEnd, m_searched);
    if (end == tBlob::npos) {
      m_searched = m_bytes.size();
      if (m_searched > mostWaiting()) drop(m_searched, "no end byte 02 in so many bytes");
      return;
    }
    unsigned int const start = firstStart();
    if (start > end) {
      drop(end + 1,
           "an end byte 02 without a start byte 01 before it: the engine waits here for ever");
      continue;
    }
    if (start != 0) drop(start, "bytes before a start byte 01: they are passed over");
    frame(end - start + 1);
  }
}

// Looks through no byte twice, however many end bytes stand before the start byte.
unsigned int nk_explain::tStream::firstStart() {
  unsigned int const start = m_bytes.getIndexOf(frameStart, m_noStart);
  m_noStart = std::min(start, m_bytes.size());
  return start;
}

void nk_explain::tStream::forget(unsigned int size) {
  m_bytes.slice(size);
  m_offset += size;
  m_searched = 0;
  m_noStart -= std::min(size, m_noStart);
}

void nk_explain::tStream::gap(unsigned int size) {
  // What follows must not be taken for the rest of it.
  if (!m_bytes.empty()) drop(m_bytes.size(), "cut off by a gap");
  tNote missing = note("gap");
  missing.facts.emplace_back("offset", m_offset);
  missing.facts.emplace_back("size", static_cast<unsigned long long>(size));
  missing.fault = "bytes of the stream are missing here";
  m_tell(missing);
  m_offset += size;
}

void nk_explain::tStream::finish() {
  if (!m_bytes.empty()) {
    bool const begun = firstStart() != tBlob::npos;
    drop(m_bytes.size(), begun ? "a frame without an end byte 02" : "no start byte 01");
  }
  while (!m_receiving.empty()) giveUp(m_receiving.begin(), "the last part has not come");
}

// Tells and drops bytes that are no frame.
void nk_explain::tStream::drop(unsigned int size, std::string why) {
  tNote noise = note("noise");
  noise.facts.emplace_back("offset", m_offset);
  noise.facts.emplace_back("size", 0ULL + size);
  noise.fault = std::move(why);
  noise.fields.push_back(makeField(m_bytes, 0, size, "(no frame)", ""));
  noise.fields.back().wireOffset = m_offset;
  noise.fields.back().wireSize = size;
  m_tell(noise);
  forget(size);
}

void nk_explain::tStream::frame(unsigned int size) {
  tBlob alone(m_bytes.data(), size);
  tNote told = note("frame");
  told.facts.emplace_back("offset", m_offset);
  told.facts.emplace_back("size", 0ULL + size);
  std::string const fault = listFrameFields(alone, m_offset, told.fields);
  nk_telegramPart received;
  bool const good = received.streamContainsTelegram(&alone);
  if (!good) told.fault = !fault.empty() ? fault : "the library refuses it";
  m_tell(told);
  forget(size);
  if (good) part(received);
}

void nk_explain::tStream::part(nk_telegramPart& part) {
  if (tBlob* const content = part.isSinglePartTelegram()) {
    bool const failed = part.decodingFailed();
    return telegram(part, 1, failed ? nullptr : content,
                    failed ? "the content cannot be decompressed" : "");
  }
  file(part, {part.telegramId(), part.sourceAddress(), part.destinationAddress()});
}

// What the engine does with a part of many, step by step.
void nk_explain::tStream::file(nk_telegramPart& part, tKey const& key) {
  auto const found = m_byKey.find(key);
  if (found == m_byKey.end()) {
    auto const added = m_receiving.emplace(m_receiving.end(), key, &part);
    m_byKey.emplace(key, added);
    return grow(added, part.payload()->size());
  }
  tReceiving& receiving = *found->second;
  if (!receiving.telegram.addTelegramPart(&part)) {
    tNote twice = note("part");
    addTelegramFacts(twice, part, "part", part.partId());
    twice.fault = "this part was there before: it is passed over";
    return m_tell(twice);
  }
  ++receiving.parts;
  if (!receiving.telegram.lastPartPresent()) return grow(found->second, part.payload()->size());
  if (receiving.telegram.isCorrupt()) {
    telegram(part, receiving.parts, nullptr, "the numbers of the parts are not 1, 2, 3 and so on");
  } else {
    tBlob* const content = receiving.telegram.getCompleteContent();
    telegram(part, receiving.parts, content,
             content == nullptr ? "the content cannot be decompressed" : "");
  }
  remove(found->second);
}

// Counts what an incomplete telegram got. If all of them take too much now, those are given up that
// waited longest for a part.
void nk_explain::tStream::grow(tPlace place, unsigned int size) {
  m_receiving.splice(m_receiving.end(), m_receiving, place);
  place->bytes += size + costPerPart;
  m_receivingBytes += size + costPerPart;
  while (m_receivingBytes > mostWaiting())
    giveUp(m_receiving.begin(), "incomplete, given up: too much waits for parts");
}

void nk_explain::tStream::giveUp(tPlace place, char const* why) {
  tNote unfinished = note("telegram");
  addTelegramFacts(unfinished, place->telegram, "parts", place->parts);
  unfinished.fault = why;
  m_tell(unfinished);
  remove(place);
}

void nk_explain::tStream::remove(tPlace place) {
  m_receivingBytes -= place->bytes;
  m_byKey.erase(place->key);
  m_receiving.erase(place);
}

void nk_explain::tStream::telegram(nk_telegramPart& part, unsigned int parts, tBlob* content,
                                   std::string fault) {
  tNote whole = note("telegram");
  addTelegramFacts(whole, part, "parts", parts);
  if (content != nullptr) whole.facts.emplace_back("content", 0ULL + content->size());
  if (!fault.empty()) whole.fault = std::move(fault);
  m_tell(whole);
  if (content != nullptr) message(*content);
}

void nk_explain::tStream::message(tBlob& content) {
  tNote told = note("message");
  std::string const fault = listFields(content, told.fields);
  nk_tools::tContent parts{tBlob(content)};
  auto const* const layout = tBodies::get().find(parts.type);
  if (layout != nullptr) {
    told.facts.emplace_back("name", layout->name);
    // The library is asked for types that it has a class for only: it reports others on standard
    // output. Made from the header alone, the message is fresh for the body to be read into.
    tBlob header(content.data(), 4);
    std::unique_ptr<nk_message> const message(nk_message::getMessage(&header));
    bool const good = message != nullptr && parts.readInto(*message);
    if (message != nullptr) told.json = std::string(nk_tools::messageJson(*message).view());
    if (!good) told.fault = !fault.empty() ? fault : "the library does not read it whole";
  } else {
    told.fault = fault;
  }
  m_tell(told);
}
