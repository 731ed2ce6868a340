#pragma once

#include <memory>
#include <vector>

#include "nkProtocol/export.h"
#include "nkProtocol/message.h"
#include "nkSupport/tString.h"

class nk_jsonFields;

/// GET_DISPLAY_CONFIGURATION_REQ: asks a device how its screen is laid out. The body is empty in
/// every version.
class NK_API nk_messageGetDisplayConfigurationReq : public nk_message {
 public:
  /// See nk_message. There is no body to read: `ser` is not looked at and may be null.
  explicit nk_messageGetDisplayConfigurationReq(teVersion version);
  nk_messageGetDisplayConfigurationReq(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;
};

/// GET_DISPLAY_CONFIGURATION_RSP: the ways in which a device's screen can be divided. It owns its
/// configurations, and they own their logical displays; pointers to them hold until clear, a parse
/// or the destructor.
///
/// Body: u16 count of configurations, string name, i8 rot, and that many configurations: string
/// name, u16 id word, u16 count and that many logical displays (string name, u16 id word, u16
/// pixelX, u16 pixelY; from version 1 on: u16 left, u16 top).
///
/// Id word: an id of 15 bits, and in bit 15 the mark of the one that is current. The JSON form
/// carries it whole, too, and always carries left and top.
/// Not synchronised: the owner locks.
class NK_API nk_messageGetDisplayConfigurationRsp : public nk_message {
 public:
  /// A part of the screen on which content is shown; frames refer to it by its id.
  class NK_API tLogicalDisplay {
   public:
    /// `id` is an id word; with `current` it gets the mark, without it keeps what it has.
    tLogicalDisplay(tString const& name, unsigned short id, unsigned short pixelX,
                    unsigned short pixelY, bool current, unsigned short left, unsigned short top);

    /// For people; frames refer to the display by its id.
    tString const& name() const { return m_name; }
    /// 0 to 32767.
    unsigned short id() const;
    /// True if the id word has the mark.
    bool isCurrent() const;
    /// Size, and position of the top left corner, in pixels.
    unsigned short pixelX() const { return m_pixelX; }
    unsigned short pixelY() const { return m_pixelY; }
    unsigned short left() const { return m_left; }
    unsigned short top() const { return m_top; }

   private:
    friend class nk_messageGetDisplayConfigurationRsp;
    tString m_name;
    unsigned short m_idWord;
    unsigned short m_pixelX;
    unsigned short m_pixelY;
    unsigned short m_left;
    unsigned short m_top;
  };

  /// One way to divide the screen into logical displays.
  class NK_API tDisplayConfiguration {
   public:
    /// `id` and `current` as for tLogicalDisplay.
    tDisplayConfiguration(tString const& name, unsigned short id, bool current);

    /// For people; need not be unique.
    tString const& name() const { return m_name; }
    /// 0 to 32767.
    unsigned short id() const;
    /// The mark where it stands in the id word: 32768, or 0.
    unsigned short isCurrent() const;

    /// Removes all logical displays.
    void clear() { m_logicalDisplays.clear(); }
    /// Appends a logical display, whatever its id, and returns it.
    tLogicalDisplay* addLogicalDisplay(tString const& name, unsigned short id,
                                       unsigned short pixelX, unsigned short pixelY, bool current,
                                       unsigned short left, unsigned short top);
    /// The logical display at `index`; null past the end.
    tLogicalDisplay* getLogicalDisplay(unsigned short index);
    /// The first one with this id, without mark; null if there is none.
    tLogicalDisplay* getLogicalDisplayById(unsigned short id);
    /// Cut to 16 bits.
    unsigned short logicalDisplayCount() const;

   private:
    friend class nk_messageGetDisplayConfigurationRsp;
    tString m_name;
    unsigned short m_idWord;
    std::vector<std::unique_ptr<tLogicalDisplay>> m_logicalDisplays;
  };

  /// See nk_message: for sending, and with a body that was received.
  explicit nk_messageGetDisplayConfigurationRsp(teVersion version);
  nk_messageGetDisplayConfigurationRsp(nk_serializer* ser, teVersion version);
  bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) override;
  bool serializeToJson(tJson* json) override;
  bool serializeFromJson(tJson* json) override;

  /// Names the display; `rot` is its rotation, in the device's unit.
  void set(tString const& name, signed char rot);
  /// What set() was given, or came with the body; empty and 0 before.
  tString const& name() const { return m_name; }
  signed char rot() const { return m_rot; }

  /// Appends a configuration, whatever its id, and returns it.
  tDisplayConfiguration* addDisplayConfiguration(tString const& name, unsigned short id,
                                                 bool current);
  /// The configuration at `index`; null past the end.
  tDisplayConfiguration* getDisplayConfiguration(unsigned short index);
  /// The first one with this id, without mark; null if there is none.
  tDisplayConfiguration* getDisplayConfigurationById(unsigned short id);
  /// Removes all configurations.
  void clear() { m_configurations.clear(); }

 private:
  bool configurationBody(nk_serializer& ser, nk_serializer::teSerDirection d, unsigned int index);
  bool logicalDisplayBody(tDisplayConfiguration& configuration, nk_serializer& ser,
                          nk_serializer::teSerDirection d, unsigned int index);
  bool jsonForm(nk_jsonFields fields);
  static bool configurationJson(tDisplayConfiguration& configuration, nk_jsonFields fields);
  static bool logicalDisplayJson(tLogicalDisplay& display, nk_jsonFields fields);

  tString m_name;
  signed char m_rot = 0;
  std::vector<std::unique_ptr<tDisplayConfiguration>> m_configurations;
};
