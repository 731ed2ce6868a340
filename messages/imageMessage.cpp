#include "nkProtocol/imageMessage.h"

#include <algorithm>
#include <utility>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/jsonFields.h"

nk_messageImage::nk_messageImage(teVersion version) : nk_message(IMAGE, version) {}

nk_messageImage::nk_messageImage(nk_serializer* ser, teVersion version) : nk_messageImage(version) {
  nk_messageImage::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageImage::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  if (ser == nullptr) return false;
  bool const reading = d == nk_serializer::SER_READ;
  if (reading) clear();
  auto const file = [&](unsigned int index) {
    if (!reading) return fileBody(*m_images[index], *ser, d);
    std::unique_ptr<nk_msgFile> read(new nk_msgFile);
    if (!fileBody(*read, *ser, d)) return false;
    m_images.push_back(std::move(read));
    return true;
  };
  unsigned int size = count();
  return ser->u8(m_taskRemove, d) && ser->u32(size, d) && transferElements(*ser, size, file) &&
         (version() < VERSION_3 || ser->u8(m_taskFbc, d));
}

bool nk_messageImage::fileBody(nk_msgFile& file, nk_serializer& ser,
                               nk_serializer::teSerDirection d) {
  // PEER: checksum, mime type and id are kept as they come, neither compared with the content nor
  // with those of other files; devices do that when they store the file.
  return ser.u64(file.m_id, d) && ser.string(file.m_name, d) && ser.string(file.m_checksum, d) &&
         ser.u8(file.m_mimeType, d) && ser.blob(file.m_content, d);
}

bool nk_messageImage::fileJson(nk_msgFile& file, nk_jsonFields fields) {
  return fields.number("uid", file.m_id)
      .text("name", file.m_name)
      .text("cs", file.m_checksum)
      .number("mime", file.m_mimeType)
      .binary("content", file.m_content)
      .done();
}

bool nk_messageImage::jsonForm(nk_jsonFields fields) {
  auto const file = [this](nk_jsonFields object, unsigned int index) {
    if (!object.writing()) m_images.push_back(std::unique_ptr<nk_msgFile>(new nk_msgFile));
    return fileJson(*m_images[index], object);
  };
  return fields.number("taskRemove", m_taskRemove)
      .number("taskFbc", m_taskFbc)
      .list("images", count(), file)
      .done();
}

bool nk_messageImage::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageImage::serializeFromJson(tJson* json) {
  if (!acceptsJson(json)) return false;
  clear();
  return withinMemory([&] { return jsonForm({*json, nk_jsonFields::READ}); });
}

nk_msgFile* nk_messageImage::get(unsigned int index) {
  return index < count() ? m_images[index].get() : nullptr;
}

bool nk_messageImage::imageIsPresent(unsigned long long id) {
  return std::any_of(m_images.begin(), m_images.end(),
                     [id](auto const& file) { return file->id() == id; });
}

bool nk_messageImage::add(unsigned long long id, tString const& name, tString const& mimeType,
                          tBlob* content) {
  if (content == nullptr) return false;
  if (!imageIsPresent(id)) {
    m_images.push_back(std::make_unique<nk_msgFile>(id, name, mimeType, content));
  }
  return true;
}

bool nk_messageImage::add(unsigned long long id, tString const& name, tString const& mimeType) {
  // PEER: no look at the ids that are there; stations count on as many entries as they added.
  m_images.push_back(std::make_unique<nk_msgFile>(id, name, mimeType, nullptr));
  return true;
}
