#include "nkProtocol/displayConfigMessages.h"

#include <algorithm>
#include <utility>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/jsonFields.h"

namespace {

// PEER: both records keep id and mark in one word, and peers send and store it whole.
constexpr unsigned short currentMark = 0x8000;
constexpr unsigned short idBits = 0x7FFF;

constexpr unsigned short markedIf(bool current, unsigned short idWord) {
  return current ? idWord | currentMark : idWord;
}

template <class Record>
Record* at(std::vector<std::unique_ptr<Record>> const& list, unsigned int index) {
  return index < list.size() ? list[index].get() : nullptr;
}

template <class Record>
Record* byId(std::vector<std::unique_ptr<Record>> const& list, unsigned short id) {
  auto const found = std::find_if(list.begin(), list.end(),
                                  [id](auto const& record) { return record->id() == id; });
  return found != list.end() ? found->get() : nullptr;
}

}  // namespace

using tLogicalDisplay = nk_messageGetDisplayConfigurationRsp::tLogicalDisplay;
using tDisplayConfiguration = nk_messageGetDisplayConfigurationRsp::tDisplayConfiguration;

tLogicalDisplay::tLogicalDisplay(tString const& name, unsigned short id, unsigned short pixelX,
                                 unsigned short pixelY, bool current, unsigned short left,
                                 unsigned short top)
    : m_name(name),
      m_idWord(markedIf(current, id)),
      m_pixelX(pixelX),
      m_pixelY(pixelY),
      m_left(left),
      m_top(top) {}

unsigned short tLogicalDisplay::id() const { return m_idWord & idBits; }

bool tLogicalDisplay::isCurrent() const { return (m_idWord & currentMark) != 0; }

tDisplayConfiguration::tDisplayConfiguration(tString const& name, unsigned short id, bool current)
    : m_name(name), m_idWord(markedIf(current, id)) {}

unsigned short tDisplayConfiguration::id() const { return m_idWord & idBits; }

unsigned short tDisplayConfiguration::isCurrent() const { return m_idWord & currentMark; }

tLogicalDisplay* tDisplayConfiguration::addLogicalDisplay(tString const& name, unsigned short id,
                                                          unsigned short pixelX,
                                                          unsigned short pixelY, bool current,
                                                          unsigned short left, unsigned short top) {
  m_logicalDisplays.push_back(
      std::make_unique<tLogicalDisplay>(name, id, pixelX, pixelY, current, left, top));
  return m_logicalDisplays.back().get();
}

tLogicalDisplay* tDisplayConfiguration::getLogicalDisplay(unsigned short index) {
  return at(m_logicalDisplays, index);
}

tLogicalDisplay* tDisplayConfiguration::getLogicalDisplayById(unsigned short id) {
  return byId(m_logicalDisplays, id);
}

unsigned short tDisplayConfiguration::logicalDisplayCount() const {
  return static_cast<unsigned short>(m_logicalDisplays.size());
}

nk_messageGetDisplayConfigurationReq::nk_messageGetDisplayConfigurationReq(teVersion version)
    : nk_message(GET_DISPLAY_CONFIGURATION_REQ, version) {}

nk_messageGetDisplayConfigurationReq::nk_messageGetDisplayConfigurationReq(nk_serializer*,
                                                                           teVersion version)
    : nk_messageGetDisplayConfigurationReq(version) {}

bool nk_messageGetDisplayConfigurationReq::serialize(nk_serializer* ser,
                                                     nk_serializer::teSerDirection) {
  return ser != nullptr;
}

bool nk_messageGetDisplayConfigurationReq::serializeToJson(tJson* json) { return beginJson(json); }

bool nk_messageGetDisplayConfigurationReq::serializeFromJson(tJson* json) {
  return acceptsJson(json);
}

nk_messageGetDisplayConfigurationRsp::nk_messageGetDisplayConfigurationRsp(teVersion version)
    : nk_message(GET_DISPLAY_CONFIGURATION_RSP, version) {}

nk_messageGetDisplayConfigurationRsp::nk_messageGetDisplayConfigurationRsp(nk_serializer* ser,
                                                                           teVersion version)
    : nk_messageGetDisplayConfigurationRsp(version) {
  nk_messageGetDisplayConfigurationRsp::serialize(ser, nk_serializer::SER_READ);
}

bool nk_messageGetDisplayConfigurationRsp::serialize(nk_serializer* ser,
                                                     nk_serializer::teSerDirection d) {
  auto size = static_cast<unsigned short>(m_configurations.size());
  if (ser == nullptr || !ser->u16(size, d) || !ser->string(m_name, d) || !ser->i8(m_rot, d)) {
    return false;
  }
  if (d == nk_serializer::SER_READ) clear();
  return transferElements(*ser, size,
                          [&](unsigned int i) { return configurationBody(*ser, d, i); });
}

bool nk_messageGetDisplayConfigurationRsp::configurationBody(nk_serializer& ser,
                                                             nk_serializer::teSerDirection d,
                                                             unsigned int index) {
  bool const reading = d == nk_serializer::SER_READ;
  tDisplayConfiguration read("", 0, false);
  tDisplayConfiguration* current = reading ? &read : m_configurations[index].get();
  // It is in the list before its displays come, so that those that come whole are kept.
  auto const add = [&] {
    if (!reading) return;
    m_configurations.push_back(std::make_unique<tDisplayConfiguration>(std::move(read)));
    current = m_configurations.back().get();
  };
  return ser.string(current->m_name, d) && ser.u16(current->m_idWord, d) &&
         transferList<unsigned short>(
             ser, d, current->logicalDisplayCount(), add,
             [&](unsigned int i) { return logicalDisplayBody(*current, ser, d, i); });
}

bool nk_messageGetDisplayConfigurationRsp::logicalDisplayBody(tDisplayConfiguration& configuration,
                                                              nk_serializer& ser,
                                                              nk_serializer::teSerDirection d,
                                                              unsigned int index) {
  bool const reading = d == nk_serializer::SER_READ;
  bool const hasPosition = version() >= VERSION_1;
  auto& list = configuration.m_logicalDisplays;
  tLogicalDisplay read("", 0, 0, 0, false, 0, 0);
  tLogicalDisplay& display = reading ? read : *list[index];
  if (!ser.string(display.m_name, d) || !ser.u16(display.m_idWord, d) ||
      !ser.u16(display.m_pixelX, d) || !ser.u16(display.m_pixelY, d) ||
      (hasPosition && (!ser.u16(display.m_left, d) || !ser.u16(display.m_top, d)))) {
    return false;
  }
  if (reading) list.push_back(std::make_unique<tLogicalDisplay>(std::move(read)));
  return true;
}

bool nk_messageGetDisplayConfigurationRsp::jsonForm(nk_jsonFields fields) {
  auto const size = static_cast<unsigned int>(m_configurations.size());
  auto const configuration = [this](nk_jsonFields object, unsigned int index) {
    if (!object.writing()) addDisplayConfiguration("", 0, false);
    return configurationJson(*m_configurations[index], object);
  };
  return fields.text("name", m_name)
      .number("rot", m_rot)
      .list("dispConfigs", size, configuration)
      .done();
}

bool nk_messageGetDisplayConfigurationRsp::configurationJson(tDisplayConfiguration& configuration,
                                                             nk_jsonFields fields) {
  auto& displays = configuration.m_logicalDisplays;
  auto const display = [&](nk_jsonFields object, unsigned int index) {
    if (!object.writing()) configuration.addLogicalDisplay("", 0, 0, 0, false, 0, 0);
    return logicalDisplayJson(*displays[index], object);
  };
  return fields.text("name", configuration.m_name)
      .number("id", configuration.m_idWord)
      .list("logDisps", static_cast<unsigned int>(displays.size()), display)
      .done();
}

bool nk_messageGetDisplayConfigurationRsp::logicalDisplayJson(tLogicalDisplay& display,
                                                              nk_jsonFields fields) {
  return fields.text("name", display.m_name)
      .number("id", display.m_idWord)
      .number("w", display.m_pixelX)
      .number("h", display.m_pixelY)
      .number("l", display.m_left)
      .number("t", display.m_top)
      .done();
}

bool nk_messageGetDisplayConfigurationRsp::serializeToJson(tJson* json) {
  return withinMemory([&] { return beginJson(json) && jsonForm({*json, nk_jsonFields::WRITE}); });
}

bool nk_messageGetDisplayConfigurationRsp::serializeFromJson(tJson* json) {
  if (!acceptsJson(json)) return false;
  clear();
  return withinMemory([&] { return jsonForm({*json, nk_jsonFields::READ}); });
}

void nk_messageGetDisplayConfigurationRsp::set(tString const& name, signed char rot) {
  m_name = name;
  m_rot = rot;
}

tDisplayConfiguration* nk_messageGetDisplayConfigurationRsp::addDisplayConfiguration(
    tString const& name, unsigned short id, bool current) {
  m_configurations.push_back(std::make_unique<tDisplayConfiguration>(name, id, current));
  return m_configurations.back().get();
}

tDisplayConfiguration* nk_messageGetDisplayConfigurationRsp::getDisplayConfiguration(
    unsigned short index) {
  return at(m_configurations, index);
}

tDisplayConfiguration* nk_messageGetDisplayConfigurationRsp::getDisplayConfigurationById(
    unsigned short id) {
  return byId(m_configurations, id);
}
