#include "tools/nkexplain/stream.h"

#include <algorithm>

#include "codec/frameLayout.h"
#include "tools/common/messages.h"
#include "tools/nkexplain/bodies.h"
#include "tools/nkexplain/frameFields.h"

namespace {

// A few bytes can decompress to very much. What has more than this and is more than so many times
// larger than what crossed the link is not told in full.
constexpr unsigned int alwaysTold = 64 << 10;
constexpr unsigned int mostGrowth = 16;
constexpr nk_explain::tDetail inFull{100000, tBlob::maxSize};
constexpr nk_explain::tDetail inBrief{1000, 200};

char const* partFault(nk_heldTelegrams::teFate fate, nk_telegramPart const& part) {
  switch (fate) {
    case nk_heldTelegrams::FATE_HELD_APART:
      return "not joined with the parts before it: its time stamp, kind or compression is not "
             "theirs";
    case nk_heldTelegrams::FATE_DUPLICATE:
      return "this part was there before: it is passed over";
    case nk_heldTelegrams::FATE_MISFIT:
      if (part.partId() == 0) return "part number 0: numbers begin at 1, it is passed over";
      return "beyond the last part, or a second last part: it is passed over";
    case nk_heldTelegrams::FATE_TOO_LARGE:
      return "its telegram is too large: it is passed over with the parts before it";
    default:
      return nullptr;
  }
}

nk_heldTelegrams::tHeader headerOf(nk_basicTelegram const& telegram) {
  return {telegram.sourceAddress(), telegram.destinationAddress(),
          telegram.telegramId(),    telegram.timestamp(),
          telegram.type(),          telegram.compression()};
}

void addHeader(nk_explain::tNote& note, nk_heldTelegrams::tHeader const& header, char const* what,
               unsigned int number) {
  note.facts.emplace_back("id", 0ULL + header.id);
  note.facts.emplace_back("source", 0ULL + header.source);
  note.facts.emplace_back("destination", 0ULL + header.destination);
  note.facts.emplace_back(what, 0ULL + number);
  note.facts.emplace_back("compression", nk_explain::compressionText(header.compression));
}

}  // namespace

nk_explain::tStream::tStream(std::string name, tTeller tell, unsigned int maxHeld)
    : m_name(std::move(name)),
      m_tell(std::move(tell)),
      m_mostWaiting(maxHeld),
      m_held(maxHeld, std::chrono::milliseconds::max(),
             [this](nk_heldTelegrams::tDropped const& telegram) { dropped(telegram); }) {}

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
      if (m_searched > m_mostWaiting) drop(m_searched, "no end byte 02 in so many bytes");
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
  m_held.end();
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
  tBlob const whole(m_bytes.data(), size);
  tBlob alone(whole);
  tNote told = note("frame");
  told.facts.emplace_back("offset", m_offset);
  told.facts.emplace_back("size", 0ULL + size);
  std::string const fault = listFrameFields(alone, m_offset, told.fields);
  nk_telegramPart received;
  bool const good = received.streamContainsTelegram(&alone);
  if (!good) told.fault = !fault.empty() ? fault : "the library refuses it";
  m_tell(told);
  forget(size);
  if (good) part(received, whole);
}

void nk_explain::tStream::part(nk_telegramPart& part, tBlob const& frame) {
  unsigned int const encodedSize = part.payload()->size();
  if (tBlob* const content = part.isSinglePartTelegram())
    return telegram(part, 1, encodedSize, *content);
  std::vector<tBlob> complete;
  auto const fate = m_held.add(part, frame, {}, complete);
  if (char const* const fault = partFault(fate, part)) {
    tNote bad = note("part");
    addHeader(bad, headerOf(part), "part", part.partId());
    bad.fault = fault;
    m_tell(bad);
  }
  if (fate == nk_heldTelegrams::FATE_COMPLETE) join(complete);
}

// Puts the telegram together as the engine does when the guard hands it all frames in order.
void nk_explain::tStream::join(std::vector<tBlob>& frames) {
  nk_telegramPart part;
  part.streamContainsTelegram(&frames.front());
  unsigned int encodedSize = part.payload()->size();
  nk_telegram whole(&part);
  for (unsigned int i = 1; i < frames.size(); ++i) {
    part.streamContainsTelegram(&frames[i]);
    encodedSize += part.payload()->size();
    whole.addTelegramPart(&part);
  }
  auto const parts = static_cast<unsigned int>(frames.size());
  if (tBlob* const content = whole.getCompleteContent())
    return telegram(whole, parts, encodedSize, *content);
  tNote bad = note("telegram");
  addHeader(bad, headerOf(whole), "parts", parts);
  bad.fault = "there is no memory to join its parts";
  m_tell(bad);
}

void nk_explain::tStream::dropped(nk_heldTelegrams::tDropped const& telegram) {
  tNote unfinished = note("telegram");
  addHeader(unfinished, telegram.header, "parts", telegram.parts);
  if (telegram.reason == nk_heldTelegrams::tDropped::NO_ROOM) {
    unfinished.fault = "incomplete, given up: too much waits for parts";
  } else if (telegram.last == 0) {
    unfinished.fault = "the last part has not come";
  } else {
    unfinished.fault = "of " + std::to_string(telegram.last) + " parts " +
                       std::to_string(telegram.last - telegram.parts) + " have not come";
  }
  m_tell(unfinished);
}

void nk_explain::tStream::telegram(nk_basicTelegram const& header, unsigned int parts,
                                   unsigned int encodedSize, tBlob& content) {
  tNote whole = note("telegram");
  addHeader(whole, headerOf(header), "parts", parts);
  whole.facts.emplace_back("content", 0ULL + content.size());
  bool const failed = header.decodingFailed();
  if (failed) whole.fault = "the content cannot be decompressed";
  m_tell(whole);
  if (!failed) message(content, encodedSize);
}

void nk_explain::tStream::message(tBlob& content, unsigned int encodedSize) {
  tNote told = note("message");
  bool const full = content.size() <= alwaysTold || content.size() / mostGrowth <= encodedSize;
  std::string const fault = listFields(content, full ? inFull : inBrief, told.fields);
  tBlob const header(content.data(), std::min(content.size(), 4u));
  nk_tools::tContent parts{tBlob(full ? content : header)};
  auto const* const layout = tBodies::get().find(parts.type);
  told.fault = fault;
  if (layout != nullptr) told.facts.emplace_back("name", layout->name);
  if (layout != nullptr && full) {
    // The library is asked for types that it has a class for only: it reports others on standard
    // output. Made from the header alone, the message is fresh for the body to be read into.
    tBlob fresh(header);
    std::unique_ptr<nk_message> const message(nk_message::getMessage(&fresh));
    bool const good = message != nullptr && parts.readInto(*message);
    if (message != nullptr) told.json = std::string(nk_tools::messageJson(*message).view());
    if (good) told.fault.clear();
    if (!good && fault.empty()) told.fault = "the library does not read it whole";
  }
  m_tell(told);
}
