#include "tools/nkdevice/journal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "nkSupport/SHA1.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tFile.h"

namespace {

constexpr unsigned int largestFile = 128u << 20;
// Changes may take this much room and work, however small the whole is.
constexpr unsigned int leastChanges = 64 << 10;
constexpr unsigned int mostWork = 64 << 20;
// The longest first line of a record.
constexpr unsigned int longestHead = 64;

tString checksum(tBlob const& content) {
  SHA1 sha1;
  sha1.Input(content.data(), content.size());
  return sha1.Result();
}

}  // namespace

bool tJournal::load(tTake const& take) {
  tBlob file;
  if (!m_store.holds(m_name)) return loadFormer(take);
  if (!m_store.read(m_name, file, largestFile)) return false;
  for (unsigned int at = 0; at < file.size();) {
    tBlob record;
    auto const size = unpack(file, at, record);
    auto const work = record.size();
    if (size == 0 || !take(record)) {
      if (at == 0) break;
      m_store.reportTrouble(m_store.path(m_name) + " is damaged; the changes from byte " +
                            std::to_string(at) + " on are dropped");
      m_appends = false;
      return true;
    }
    m_appends = true;
    m_work += at == 0 ? 0 : work;
    at += size;
    if (m_wholeSize == 0) m_wholeSize = size;
    m_size = at;
  }
  if (m_wholeSize == 0) m_store.setAside(m_name, "is damaged or beyond the limits");
  return m_wholeSize != 0;
}

bool tJournal::loadFormer(tTake const& take) {
  tBlob content;
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
                    work <= mostWork && m_work <= mostWork - work;
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

// Cuts off what was appended in vain. If that fails, too, a whole record counts after a restart,
// and so it has to count now.
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

// Long runs are stored as such: what takes few bytes on the link takes few on the medium.
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

// The record at `from` and its size in the file; 0 if it is damaged.
unsigned int tJournal::unpack(tBlob const& file, unsigned int from, tBlob& content) {
  std::string_view const rest(reinterpret_cast<char const*>(file.data()) + from,
                              file.size() - from);
  std::string const head(rest.substr(0, rest.substr(0, longestHead).find('\n') + 1));
  unsigned int size = 0;
  char sum[41] = "", form[6] = "";
  if (std::sscanf(head.c_str(), "%40s %u %5s", sum, &size, form) != 3) return 0;
  auto const first = static_cast<unsigned int>(head.size());
  if (size >= rest.size() - first || rest[first + size] != '\n') return 0;
  content = tBlob(rest.data() + first, size);
  if (checksum(content) != sum) return 0;
  if (std::string_view(form) == "rle") content = tCompression::decodeRLE(content);
  return first + size + 1;
}
