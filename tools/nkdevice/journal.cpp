#include "tools/nkdevice/journal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string_view>

#include "nkSupport/SHA1.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tFile.h"

namespace {

constexpr unsigned int largestFile = 128u << 20;
// Room for changes before the file is replaced, however small the whole is.
constexpr unsigned int leastChanges = 64 << 10;
// Most that replaying the changes may cost at the next start.
constexpr unsigned int mostWork = 64 << 20;
// The longest first line of a record.
constexpr unsigned int longestHead = 64;

tString checksum(tBlob const& content) {
  SHA1 sha1;
  sha1.Input(content.data(), content.size());
  return sha1.Result();
}

std::string_view bytesFrom(tBlob const& file, unsigned int from) {
  return {reinterpret_cast<char const*>(file.data()) + from, file.size() - from};
}

// The first line of a record.
struct tHead {
  std::string_view sum, form;
  unsigned int size = 0;  // of the bytes behind it
};

// Takes the first word off `text`, with the blank behind it.
std::string_view takeWord(std::string_view& text) {
  auto const size = std::min(text.find(' '), text.size());
  auto const word = text.substr(0, size);
  text.remove_prefix(std::min(size + 1, text.size()));
  return word;
}

// Nothing if `line` gives no size. The other words may be damaged.
std::optional<tHead> headIn(std::string_view line) {
  tHead head;
  head.sum = takeWord(line);
  auto const digits = takeWord(line);
  head.form = line;
  auto const* const end = digits.data() + digits.size();
  auto const read = std::from_chars(digits.data(), end, head.size);
  if (read.ec != std::errc() || read.ptr != end) return {};
  return head;
}

}  // namespace

bool tJournal::load(tTake const& take) {
  tBlob file;
  if (!m_store.holds(m_name)) return loadFormer(take);
  if (!m_store.read(m_name, file, largestFile)) return false;
  unsigned int at = 0, damaged = 0;
  for (tRecord record; (record = unpack(file, at)).size != 0; at += record.size) {
    if (record.intact && take(record.content)) {
      if (at == 0) m_wholeSize = record.size;
    } else {
      ++damaged;
    }
    if (m_wholeSize == 0) break;
  }
  if (m_wholeSize == 0) {
    m_store.setAside(m_name, "is damaged or beyond the limits");
    return false;
  }
  m_isDamaged = damaged != 0 || (at < file.size() && !isTorn(file, at));
  if (m_isDamaged) keepDamaged(file);
  m_size = at;
  // What replaying costs is not known, so the next change replaces a file that has changes.
  if (m_size > m_wholeSize) m_work = mostWork;
  m_appends = at == file.size() && !m_isDamaged;
  // A change that the last run did not bring to the medium is in force from now on.
  m_settled = m_appends && m_store.sync(m_name) && m_store.syncEntries();
  if (m_store.holds(m_former)) ::unlink(m_store.path(m_former).c_str());
  return true;
}

void tJournal::keepDamaged(tBlob const& file) {
  auto const copy = std::string(m_name) + ".bad";
  m_store.write(copy.c_str(), file);
  m_store.reportTrouble(m_store.path(m_name) + " has damaged changes, which are left out; " + copy +
                        " is a copy");
}

bool tJournal::loadFormer(tTake const& take) {
  tBlob content;
  // Once there was a newer file, the former one is out of date.
  if (m_store.holds((std::string(m_name) + ".bad").c_str())) return false;
  if (!m_store.read(m_former, content, largestFile)) return false;
  m_isFormer = take(content);
  m_settled = !m_isFormer;  // so that settle() stores it under its new name
  if (!m_isFormer) m_store.setAside(m_former, "is damaged or beyond the limits");
  return m_isFormer;
}

bool tJournal::add(tBlob const& change, unsigned int work, tWhole const& whole) {
  if (m_store.keepsNothing()) return true;
  tBlob record;
  if (!pack(change, record)) {
    m_store.reportTrouble(std::string("no memory to store ") + m_name);
    return false;
  }
  // A file whose name may not be on the medium yet could vanish with all that is appended to it.
  bool const fits = record.size() <= std::max(m_wholeSize, leastChanges) &&
                    m_size - m_wholeSize <= std::max(m_wholeSize, leastChanges) - record.size() &&
                    m_size <= largestFile - record.size() && work <= mostWork &&
                    m_work <= mostWork - work;
  if (!m_appends || !fits || !isSettled()) return replace(whole);
  if (!append(record)) return false;
  m_work += work;
  return true;
}

bool tJournal::append(tBlob const& record) {
  auto const path = m_store.path(m_name);
  tFile file(tFile::modeWrite, tString(std::string_view(path)));
  bool const added = file.add(record);
  if (added && file.syncContent() && file.close()) {
    m_size += record.size();
    m_store.reportSuccess();
    return true;
  }
  m_store.reportTrouble("write", path, errno);
  // The next change replaces the file: what is on the medium now is not known.
  m_appends = m_settled = false;
  return !takeBack() && added;
}

// Removes a record whose append failed. If that fails too and the record is complete, a restart
// would load it, so it counts as stored.
bool tJournal::takeBack() {
  int result = 0;
  do {
    result = ::truncate(m_store.path(m_name).c_str(), m_size);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool tJournal::replace(tWhole const& whole) {
  tBlob content, record;
  if (!whole(content) || !pack(content, record)) {
    m_store.reportTrouble(std::string("no memory to store ") + m_name);
    return false;
  }
  // What could not be loaded again must not be taken.
  if (record.size() > largestFile) {
    m_store.reportTrouble(std::string(m_name) + " would be too large to be loaded again");
    return false;
  }
  if (!m_store.write(m_name, record)) return false;
  m_wholeSize = m_size = record.size();
  m_work = 0;
  m_appends = m_settled = true;
  if (m_isFormer && m_store.isSettled())
    m_isFormer = ::unlink(m_store.path(m_former).c_str()) != 0 && errno != ENOENT;
  return true;
}

void tJournal::settle(tWhole const& whole) {
  if (!m_settled && !m_store.keepsNothing()) replace(whole);
}

// Run lengths keep repetitive records small: content that is compressed on the link must not
// multiply what is written.
bool tJournal::pack(tBlob const& content, tBlob& record) {
  constexpr unsigned int worthIt = 4;
  bool const rle = tCompression::encodedSizeRLE(content) < content.size() / worthIt;
  tBlob const encoded = rle ? tCompression::encodeRLE(content) : tBlob();
  tBlob const& bytes = encoded.empty() ? content : encoded;
  char head[longestHead];
  int const length = std::snprintf(head, sizeof head, "%s %u %s\n", checksum(bytes).c_str(),
                                   bytes.size(), encoded.empty() ? "plain" : "rle");
  return record.append(head, static_cast<unsigned int>(length)) && record.append(bytes) &&
         record.append("\n", 1);
}

// The record at `from`. Its size is 0 at the end of the file, and if it does not tell where it
// ends.
tJournal::tRecord tJournal::unpack(tBlob const& file, unsigned int from) {
  auto const rest = bytesFrom(file, from);
  auto const end = rest.substr(0, longestHead).find('\n');
  tRecord record;
  if (end == rest.npos) return record;
  auto const head = headIn(rest.substr(0, end));
  auto const first = static_cast<unsigned int>(end) + 1;
  if (!head || head->form.empty()) return record;
  if (head->size >= rest.size() - first || rest[first + head->size] != '\n') return record;
  record.size = first + head->size + 1;
  record.content = tBlob(rest.data() + first, head->size);
  record.intact = checksum(record.content).view() == head->sum;
  if (record.intact && head->form == "rle")
    record.content = tCompression::decodeRLE(record.content);
  return record;
}

// True if the file ends within the record at `from`, as after a crash in the middle of an append.
bool tJournal::isTorn(tBlob const& file, unsigned int from) {
  auto const rest = bytesFrom(file, from);
  auto const end = rest.substr(0, longestHead).find('\n');
  if (end == rest.npos) return rest.size() < longestHead;
  auto const head = headIn(rest.substr(0, end));
  return head && head->size >= rest.size() - (end + 1);
}
