#pragma once

#include <cstdarg>
#include <vector>

#include "nkProtocol/export.h"
#include "nkProtocol/serializer.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

class tJson;

/// Base of every message between station and device: a type, the revision of its body's layout, and
/// four operations that each message class fills in.
///
/// On the wire a message is its type (u16), its version (u16) and its body. Each message class has
/// two constructors: one from a version, and initial values for some, with the defaults for
/// sending; and one from (nk_serializer* ser, teVersion version), which starts from the same
/// defaults and reads the body from `ser`'s read position. `ser` is borrowed for the call. A body
/// that is cut short is not reported: what was read stays, the rest keeps its defaults.
///
/// Whatever reads or writes a body or a JSON form fails as for a short buffer if memory runs out,
/// and keeps what it had so far. Calls that take the program's own values (setters, adders, copies)
/// may throw std::bad_alloc then, as the standard containers do.
///
/// Messages hold no lock unless their class says so.
class NK_API nk_message {
 public:
  /// The number of each message on the wire. The TAVO numbers are reserved: they have names and no
  /// class.
  enum teType : unsigned short {
    STATE_REQ = 1,
    STATE_RSP = 2,
    EVENTS_REQ = 3,
    EVENTS_RSP = 4,
    SET_CONFIG_REQ = 5,
    SET_CONFIG_RSP = 6,
    GET_DISPLAY_CONFIGURATION_REQ = 7,
    GET_DISPLAY_CONFIGURATION_RSP = 8,
    SET_SCHEDULES_REQ = 9,
    SET_SCHEDULES_RSP = 10,
    TIME = 11,
    SHUTDOWN = 12,
    IMAGE = 13,
    STATISTICS_REQ = 14,
    STATISTICS_RSP = 15,
    TAVO_AUTHORIZE_REQ = 16,
    TAVO_AUTHORIZE_RSP = 17,
    TAVO_DEVICE_LIST_REQ = 18,
    TAVO_DEVICE_LIST_RSP = 19,
    TAVO_CONFIG_LIST_REQ = 20,
    TAVO_CONFIG_LIST_RSP = 21,
    TAVO_REMOVE_REQ = 22,
    TAVO_REMOVE_RSP = 23,
    TAVO_ADD_REQ = 24,
    TAVO_ADD_RSP = 25,
    TAVO_ASSIGNMENT_REQ = 26,
    TAVO_ASSIGNMENT_RSP = 27,
    GENERIC_REQ = 28,
    GENERIC_RSP = 29
  };
  /// Layout revision of a body. Any 16-bit number is carried; the layouts distinguish these four.
  enum teVersion : unsigned short { VERSION_0 = 0, VERSION_1 = 1, VERSION_2 = 2, VERSION_3 = 3 };

  // The order of these four is the order of the virtual function table, which programs built
  // against this header rely on.

  /// Passes the body (without header) through `ser` in direction `d`. False for a null serializer
  /// and at the first field that fails.
  virtual bool serialize(nk_serializer* ser, nk_serializer::teSerDirection d) = 0;
  virtual ~nk_message() = default;
  /// Replaces the content of `json` by the message. False for null.
  virtual bool serializeToJson(tJson* json) = 0;
  /// Takes the message's values from `json`. False, with nothing changed unless the class says
  /// otherwise, for null and for an object that is not this kind of message.
  virtual bool serializeFromJson(tJson* json) = 0;

  /// As given at construction, or by the header that getMessage read; any version is carried.
  teType type() const { return m_type; }
  teVersion version() const { return m_version; }
  /// Writes header and body to the end of `ser`. False for null or if the body fails.
  bool serializeMsg(nk_serializer* ser);
  /// Makes the message that the bytes of `blob` hold; the caller deletes it. `blob` is not changed
  /// and not needed afterwards. Null for null, for fewer than 4 bytes (silently), for a type
  /// without a class (said on standard output), and when memory runs out, for what lacks parts for
  /// that reason must not be taken for what was sent. A body that fails to parse still gives an
  /// object.
  static nk_message* getMessage(tBlob* blob);
  /// The message as compact JSON text; empty if it has none.
  tString getJson();

  /// The name of a message type, such as "STATE_REQ"; "invalid" for numbers without one.
  static tString typeName(teType type);
  tString typeName() const { return typeName(m_type); }

  /// Installs the process-wide hook that log() calls; null switches logging off. To be called once
  /// before messages are used: it takes no lock.
  static void registerLog(void (*hook)(char const* format, va_list arguments));
  /// Hands a printf-style message to the hook, if there is one. A null format is ignored.
  static void log(char const* format, ...) __attribute__((format(printf, 1, 2)));

  /// A checksum of a set of ids: the SHA-1 text of the decimal numbers, ascending, each once, with
  /// nothing between them. Order and repetition do not matter. O(n log n). Empty if memory runs
  /// out.
  static tString vectorU64Checksum(std::vector<unsigned long long> const& values);

 protected:
  /// For the message classes, each of which has one type. Only whole messages can be copied.
  nk_message(teType type, teVersion version) : m_type(type), m_version(version) {}
  nk_message(nk_message const&) = default;
  nk_message& operator=(nk_message const&) = default;

  /// Starts a JSON form: clears `json` and adds "action", "type" and "tv". False for null.
  bool beginJson(tJson* json) const;
  /// True if `json` carries this message's "action" and "type", and a "tv" of at least 1.
  bool acceptsJson(tJson const* json) const;
  /// The two halves of acceptsJson, for classes that act between them.
  bool acceptsJsonKind(tJson const* json) const;
  static bool acceptsJsonVersion(tJson const& json);

  /// Changes the layout that the body is read and written in from now on.
  void setVersion(teVersion version) { m_version = version; }

 private:
  teType m_type;
  teVersion m_version;
};

/// True if `a` is greater than `b`: sorts a tVector<unsigned long long> in ascending order.
NK_API bool sortU64(unsigned long long& a, unsigned long long& b);
