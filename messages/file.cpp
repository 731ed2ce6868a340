#include "nkProtocol/file.h"

#include <cstdio>
#include <iterator>

#include "codec/withinMemory.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tFile.h"

namespace {

struct tMimeText {
  char const* text;
  nk_msgFile::teMimeType type;
};
constexpr tMimeText mimeTexts[] = {
    {"image/png", nk_msgFile::MIME_PNG},
    {"image/jpeg", nk_msgFile::MIME_JPEG},
    {"application/pdf", nk_msgFile::MIME_PDF},
    {"application/x-7z-compressed", nk_msgFile::MIME_7Z},
    // PEER: stations on systems that do not know archives send them as plain bytes.
    {"application/octet-stream", nk_msgFile::MIME_7Z},
    {"application/xml", nk_msgFile::MIME_XML},
    {"text/xml", nk_msgFile::MIME_XML},
};
// By number.
constexpr char const* extensions[] = {".png", ".jpg", ".pdf", ".7z", ".xml"};

}  // namespace

nk_msgFile::nk_msgFile(unsigned long long id, tString const& name, tString const& mimeType,
                       tBlob* content)
    : m_id(id), m_name(name), m_mimeType(getMimeType(mimeType)), m_content(content) {
  SHA1 sha1;
  sha1.Input(m_content.data(), m_content.size());
  m_checksum = sha1.Result();
}

nk_msgFile::nk_msgFile(unsigned long long id, tString const& name, tString const& checksum,
                       unsigned char mimeType, tBlob* content)
    : m_id(id), m_name(name), m_checksum(checksum), m_mimeType(mimeType), m_content(content) {}

nk_msgFile::teMimeType nk_msgFile::getMimeType(tString const& mimeType) {
  for (auto const& known : mimeTexts) {
    if (mimeType == known.text) return known.type;
  }
  // PEER: both lines go to standard output, with these line ends; supervisors look for them.
  std::printf("unsupported mime type: %s\r\n", mimeType.c_str());
  return MIME_UNSUPPORTED;
}

tString nk_msgFile::getFileExtension(teMimeType type) {
  if (type < std::size(extensions)) return extensions[type];
  std::printf("unsupported mime type: %u\r\n", static_cast<unsigned int>(type));
  return ".";
}

tString nk_msgFile::imageNameByMimeType_e(unsigned long long id, teMimeType type) {
  return "image_id" + tString::fromUInt64(id) + getFileExtension(type);
}

tString nk_msgFile::imageName(unsigned long long id) {
  return imageNameByMimeType_e(id, mimeType());
}

tString nk_msgFile::saveToDir(tString directory, bool sync, tString const& fileName) {
  return textWithinMemory([&] {
    tString const ownName = imageName(id());  // looked for in any case: it may have a line to say
    tString path = directory.completePath() + (fileName.empty() ? ownName : fileName);
    tString const temporary = path + "~";
    tFile file(tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate, temporary);
    bool const written = file.add(m_content) && (!sync || file.syncContent());
    // What was not written whole stays under the temporary name, where the next try replaces it.
    if (!file.close() || !written) return tString();
    // PEER: devices take the path for the sign that the content arrived, renamed or not.
    tFile::renameFile(temporary, path);
    // The file once more, now with the directory entry that bears its name.
    if (sync && file.open(path)) file.sync();
    return path;
  });
}

tString operator+(char const* head, tString const& tail) { return tString(head) + tail; }
