#include <gtest/gtest.h>

#include <random>

#include "harness/hex.h"
#include "harness/programs.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/protocol.h"
#include "nkSupport/tCompression.h"
#include "tools/common/messages.h"
#include "tools/nkexplain/bodies.h"
#include "tools/nkexplain/capture.h"
#include "tools/nkexplain/hexDump.h"
#include "tools/nkexplain/stream.h"
#include "tools/nkexplain/tcpStream.h"

namespace {

using harness::hex;
using nk_explain::tNote;
using std::string;

struct tNotes : std::vector<tNote> {
  nk_explain::tTeller teller() {
    return [this](tNote const& note) { push_back(note); };
  }
  // The kinds of the notes, each with why it is bad.
  string text() const {
    string all;
    for (auto const& note : *this)
      all += note.kind + (note.fault.empty() ? "" : ": ") + note.fault + "\n";
    return all;
  }
};

tNotes explain(tBlob const& bytes, unsigned int maxHeld = 80 << 20) {
  tNotes notes;
  nk_explain::tStream stream("", notes.teller(), maxHeld);
  stream.feed(bytes.data(), bytes.size());
  stream.finish();
  return notes;
}

// One part of a telegram, as a frame.
tBlob frame(tBlob content, unsigned int number = 1, bool last = true,
            nk_telegram::teCompression form = nk_telegram::COMPRESSION_NONE, unsigned int id = 7,
            unsigned int timestamp = 0x65431234) {
  tBlob out;
  nk_telegramPart part(id, 1, 2, number, timestamp, last, &content,
                       nk_telegram::TYPE_REQUEST_FORCE_RESPONSE, form);
  EXPECT_TRUE(part.serialize(&out));
  return out;
}
tBlob frame(string const& bytes, unsigned int number = 1, bool last = true) {
  return frame(hex(bytes), number, last);
}
// The parts of a SHUTDOWN.
tBlob half(unsigned int number, bool last, unsigned int timestamp = 0x65431234) {
  return frame(hex(number == 1 ? "0c00" : "0000"), number, last, nk_telegram::COMPRESSION_NONE, 7,
               timestamp);
}
tBlob operator+(tBlob one, tBlob const& other) {
  one.append(other);
  return one;
}
tBlob changed(tBlob bytes, unsigned int offset, unsigned char value) {
  bytes.data()[offset] = value;
  return bytes;
}
tBlob cut(tBlob bytes, unsigned int size) {
  bytes.truncate(size);
  return bytes;
}

tBlob const shutdown = frame("0c000000");
string const read = "frame\ntelegram\nmessage", good = read + "\n";

string const endless =
    "noise: an end byte 02 without a start byte 01 before it: the engine waits here for ever\n";
string const gap = "gap: bytes of the stream are missing here\n";

TEST(explain, TellsWhyBytesAreBad) {
  tBlob const generic = hex("1c00000002000000616202000000");  // the second text is missing
  tBlob const rle = tCompression::encodeRLE(hex("1c0001000000000000000000"));
  struct {
    tBlob bytes;
    string notes;
  } const rows[] = {
      {hex("5566") + shutdown,
       "noise: bytes before a start byte 01: they are passed over\n" + good},
      {hex("5502") + shutdown, endless + good},
      {hex("55"), "noise: no start byte 01\n"},
      {cut(shutdown, 20), "noise: a frame without an end byte 02\n"},
      {cut(shutdown, 20) + shutdown,
       "frame: a start byte 01 at byte 20 of the frame: a frame was cut off, and the next one "
       "begins in it\n"},
      {hex("0102"), "frame: there is nothing in it\n"},
      {changed(shutdown, 3, 0x7f),
       "frame: wrong encoding: 7f at byte 3 of the frame is below 80\n"},
      {hex("018102"), "frame: wrong encoding: 1 bytes, a length that nothing encodes to\n"},
      {hex("01ff8202"),
       "frame: wrong encoding: bits of the last byte, 82, that only fill it up are not 0\n"},
      {hex("01f38102"), "frame: wrong CRC: the bytes give ff, the frame has f3\n"},
      {changed(shutdown, 2, 0x81), "frame: wrong CRC: the bytes give b1, the frame has 54\n"},
      {hex("0180e68302"), "frame: too short: 2 bytes decoded, and a header has 25\n"},
      {frame("0b000000"), read + ": the body is cut short in currentTime: 0 of 4 bytes\n"},
      {frame("0c00000099"), read + ": 1 bytes are left over behind the body\n"},
      {frame("10000000"), read + ": no message has the number 16\n"},
      {frame(generic), read + ": text2 says that it has 2 bytes, but 0 follow\n"},
      {frame("0c000000", 1, false), "frame\ntelegram: the last part has not come\n"},
      {half(1, false) + half(2, true), "frame\n" + read + "\n"},
      {half(2, true) + half(1, false), "frame\n" + read + "\n"},
      {half(1, false) + half(1, false) + half(2, true),
       "frame\nframe\npart: this part was there before: it is passed over\n" + read + "\n"},
      {half(1, false) + half(3, true), "frame\nframe\ntelegram: of 3 parts 1 have not come\n"},
      {half(0, true), "frame\npart: part number 0: numbers begin at 1, it is passed over\n"},
      {half(2, true) + half(3, false) + half(1, false),
       "frame\nframe\npart: beyond the last part, or a second last part: it is passed over\n" +
           read + "\n"},
      {half(1, false) + half(2, true, 9),
       "frame\nframe\npart: not joined with the parts before it: its time stamp, kind or "
       "compression is not theirs\ntelegram: the last part has not come\n"
       "telegram: of 2 parts 1 have not come\n"},
      {frame(rle, 1, true, nk_telegram::COMPRESSION_RLE), good},
      {frame(hex("0c000000"), 1, true, nk_telegram::COMPRESSION_HUFF),
       "frame\ntelegram: the content cannot be decompressed\n"},
  };
  for (auto const& row : rows)
    EXPECT_EQ(explain(row.bytes).text(), row.notes) << harness::toHex(row.bytes);
}

TEST(explain, GivesUpTheTelegramThatWaitedLongestForAPart) {
  tBlob const large(string(20000, 'x').data(), 20000);
  tBlob bytes;
  for (auto const& [id, number] : {std::pair(1u, 1u), {2u, 1u}, {1u, 2u}})
    bytes.append(frame(large, number, false, nk_telegram::COMPRESSION_NONE, id));
  auto const notes = explain(bytes, 60000);
  EXPECT_EQ(notes.text(),
            "frame\nframe\nframe\ntelegram: incomplete, given up: too much waits for parts\n"
            "telegram: the last part has not come\n");
  EXPECT_EQ(notes.at(3).facts.at(0).second, nk_explain::tValue(2ULL));
}

nk_explain::tField const& fieldOf(tNote const& note, string const& name) {
  static nk_explain::tField const none;
  for (auto const& field : note.fields)
    if (field.name == name) return field;
  ADD_FAILURE() << "no " << name;
  return none;
}

// A frame of some 50 bytes with very many elements, or one very long text.
TEST(explain, TellsInBriefWhatAFewBytesDecompressTo) {
  constexpr unsigned int elements = 200000;
  struct {
    string header;
    unsigned int zeros;
    string name;  // of the field that stands for what is left out
    unsigned int offset;
  } const rows[] = {
      {"0900 0300 400d0300", elements * 38, "(1399003 more fields)", 5424},
      {"1c00 0000 00127a00", 8000000 + 4, "text1", 4},
  };
  for (auto const& row : rows) {
    tBlob content = hex(row.header);
    content.append(tBlob(string(row.zeros, 0).data(), row.zeros));
    auto const size = content.size();
    auto const bytes =
        frame(tCompression::encodeRLE(content), 1, true, nk_telegram::COMPRESSION_RLE);
    EXPECT_LT(bytes.size(), 70u);
    auto const notes = explain(bytes);
    EXPECT_EQ(notes.text(), good);
    EXPECT_LE(notes.back().fields.size(), 1001u);
    EXPECT_EQ(notes.back().json, "");
    auto const& field = fieldOf(notes.back(), row.name);
    auto const& last = notes.back().fields.back();
    EXPECT_EQ(field.offset, row.offset);
    EXPECT_EQ(last.offset + last.size, size);
    EXPECT_LT(std::get<string>(field.value).size(), 201u);
  }
}

TEST(explain, GivesFieldsTheirNamesAndValues) {
  auto const notes = explain(frame("1c000100 01000000 61 02000000 6263"));
  ASSERT_EQ(notes.size(), 3u);
  auto const expectField = [&](unsigned int note, string const& name,
                               nk_explain::tValue const& value, unsigned int offset,
                               unsigned int size) {
    auto const& field = fieldOf(notes[note], name);
    EXPECT_TRUE(field.value == value && field.offset == offset && field.size == size) << name;
  };
  expectField(0, "id", 7ULL, 8, 4);
  expectField(0, "flags", 0x0aULL, 20, 1);
  expectField(0, "payload", "15 bytes", 25, 15);
  expectField(2, "version", 1ULL, 2, 2);
  expectField(2, "text2", "bc", 9, 6);
  EXPECT_EQ(notes[2].json, R"({"action":"generic","type":"request","text1":"a","text2":"bc"})");
}

// The contents that an engine takes from the stream.
std::vector<string> taken(tBlob bytes) {
  std::vector<string> contents;
  auto const take = [](unsigned int, tBlob* content, void* context) {
    static_cast<std::vector<string>*>(context)->push_back(harness::toHex(*content));
    content->clear();
  };
  nk_protocol engine(2, take, &contents, 10, nullptr, nullptr, nullptr);
  for (unsigned int i = 0; i < bytes.size(); ++i) {
    engine.pushData(bytes.data() + i, 1);
    engine.poll(nullptr, nullptr, nullptr, nullptr);
  }
  return contents;
}

TEST(explain, AgreesWithTheEngineAndLeavesNoByteOut) {
  std::mt19937 random(1);
  for (unsigned int round = 0; round < 3000; ++round) {
    constexpr auto none = nk_telegram::COMPRESSION_NONE;
    auto bytes = shutdown + half(1, false) + half(2, true) +
                 frame(hex("1c0000"), 1, false, none, 8) + frame(hex("00"), 2, false, none, 8) +
                 frame(hex("0000000000000000"), 3, true, none, 8) + shutdown;
    for (unsigned int i = random() % 4; i != 0; --i)
      bytes.data()[random() % bytes.size()] =
          static_cast<unsigned char>(random() % 3 == 0 ? random() % 4 : random());
    std::vector<string> seen;
    std::vector<bool> covered(bytes.size());
    bool blocked = false;
    for (auto const& note : explain(bytes)) {
      blocked = blocked || note.fault.find("for ever") != string::npos;
      for (auto const& field : note.fields) {
        ASSERT_LE(field.wireOffset + field.wireSize, bytes.size());
        std::fill_n(covered.begin() + static_cast<int>(field.wireOffset), field.wireSize, true);
      }
      string content;
      if (note.kind != "message" || blocked) continue;
      for (auto const& field : note.fields) content += field.bytes + ' ';
      seen.push_back(harness::toHex(hex(content)));
    }
    auto const engine = taken(bytes);
    ASSERT_EQ(seen, engine) << harness::toHex(bytes);
    ASSERT_EQ(std::count(covered.begin(), covered.end(), false), 0) << harness::toHex(bytes);
  }
}

// Writes two elements of each list and texts of one byte, as the document lays them out.
// NOLINTNEXTLINE(misc-no-recursion): as deep as the lists in the document
void fill(nk_explain::tBodies::tItem const& item, unsigned int version, string& to) {
  using tItem = nk_explain::tBodies::tItem;
  if (version < item.firstVersion || version > item.lastVersion) return;
  if (item.kind == tItem::LIST) {
    for (unsigned int i = 0; i < 2; ++i)
      for (auto const& each : item.items) fill(each, version, to);
  } else if (item.kind == tItem::TEXT || item.kind == tItem::BLOB) {
    to += string("\1\0\0\0x", 5);
  } else {
    to += string("\2\0\0\0\0\0\0\0", item.width);  // also the count of a list
  }
}

// The library reads each body to its last byte if it is laid out as in the document, and no shorter
// one; and the explanation says the same.
TEST(explain, DocumentLaysBodiesOutAsTheLibrary) {
  EXPECT_EQ(nk_explain::tBodies::get().all().size(), 17u);
  for (auto const& [type, layout] : nk_explain::tBodies::get().all()) {
    EXPECT_EQ(nk_message::typeName(nk_message::teType(type)), tString(layout.name.c_str()));
    for (unsigned int version = 0; version <= 4; ++version) {
      string text{static_cast<char>(type), 0, static_cast<char>(version), 0};
      for (auto const& item : layout.items) fill(item, version, text);
      auto const whole = static_cast<unsigned int>(text.size());
      for (unsigned int size = 4; size <= whole; ++size) {
        tBlob content(text.data(), size), header(text.data(), 4);
        std::unique_ptr<nk_message> const message(nk_message::getMessage(&header));
        std::vector<nk_explain::tField> fields;
        bool const reads = nk_tools::tContent{tBlob(content)}.readInto(*message);
        EXPECT_EQ(reads, size == whole) << layout.name << version << " cut to " << size;
        EXPECT_EQ(nk_explain::listFields(content, {100, 100}, fields).empty(), reads)
            << layout.name << version;
      }
    }
  }
}

TEST(explain, ReadsHexadecimalText) {
  struct {
    string text, bytes, fault;
  } const rows[] = {
      {"01 02,0xfF\n0304 # five\n", "0102ff0304", ""},
      {"00000000  01 02 03 04 05 06 07 08  09 0a 0b 0c 0d 0e 0f 10  |........ab......|\n"
       "00000010  11                                                |.|\n00000011\n",
       "0102030405060708090a0b0c0d0e0f1011", ""},
      {"00000000: 0102 0304 0506 0708 090a 0b0c 0d0e 0f10  ....ab..........\n00000010: 11  .\n",
       "0102030405060708090a0b0c0d0e0f1011", ""},
      {"000000 01 02 03\n000003 04\n000004\n", "01020304", ""},
      {"0102030405060708\n09", "010203040506070809", ""},
      {"000000000000", "000000000000", ""},
      {"000000 01 02\n*\n000006 03\n000007\n", "01020102010203", ""},
      {"00000000: 0102 0304  ....\n*\n0000000a: 05  .\n", "0102030401020304010205", ""},
      {"000000 01 02\n*\n", "", "line 2: no offset tells how far the \"*\" before it goes"},
      {"000000 01 02\n*\n000001\n", "", "line 3: no offset tells how far the \"*\" before it goes"},
      {"000000 01 02\n*\n10000001", "", "line 3: the \"*\" before it goes beyond 256 MiB"},
      {"*\n000010\n", "", "line 1: \"*\" is no hexadecimal text"},
      {"01\n0g", "", "line 2: \"0g\" is no hexadecimal text"},
      {"012", "", "line 1: \"012\" is no hexadecimal text"},
  };
  for (auto const& row : rows) {
    tBlob bytes;
    EXPECT_EQ(nk_explain::readHexDump(row.text, bytes), row.fault);
    EXPECT_EQ(row.fault.empty() ? harness::toHex(bytes) : "", harness::toHex(hex(row.bytes)));
  }
}

TEST(explain, PutsSegmentsIntoTheirOrder) {
  tBlob const twice = shutdown + shutdown;
  string const bytes(reinterpret_cast<char const*>(twice.data()), twice.size());
  auto const all = shutdown.size();
  struct tSegment {
    unsigned int from, to, captured;
  };
  struct {
    std::vector<tSegment> segments;
    string notes;
  } const rows[] = {
      {{{0, all, all}}, good},
      {{{10, all, all}, {0, 10, 10}}, good},
      {{{0, 10, 10}, {0, 10, 10}, {5, all, all}, {0, all, all}}, good},
      {{{20, all, all}, {10, 25, 25}, {10, 20, 20}, {0, 10, 10}}, good},
      {{{5, all, all}}, gap + endless},
      {{{0, 15, 10}, {15, all, all}}, "noise: cut off by a gap\n" + gap + endless},
      {{{0, 15, 15}, {all, 2 * all, 2 * all}}, "noise: cut off by a gap\n" + gap + good},
  };
  for (unsigned int const start : {0u, 0xFFFFFFF0u}) {
    for (auto const& row : rows) {
      tNotes notes;
      nk_explain::tTcpStream stream("", notes.teller());
      stream.begin(start);
      unsigned long long last = 0, end = 0;
      for (auto const& [from, to, captured] : row.segments) {
        last = std::max<unsigned long long>(last, to);
        stream.segment(start + from, std::string_view(bytes).substr(from, captured - from),
                       to - from);
      }
      stream.finish();
      EXPECT_EQ(notes.text(), row.notes);
      for (auto const& note : notes) {  // each begins where the one before it ends
        if (note.facts.empty() || note.facts[0].first != "offset") continue;
        EXPECT_EQ(note.facts[0].second, nk_explain::tValue(end)) << row.notes;
        end += std::get<unsigned long long>(note.facts[1].second);
      }
      EXPECT_EQ(end, last);
    }
  }
}

// Of a frame in one packet, in the forms that networks and systems give it.
TEST(explain, ReadsCaptures) {
  string const bytes = harness::toHex(shutdown), zeros = "00000000 00000000 ";
  string const tcp = "9c40 1267 00000001 00000000 5018 ffff 0000 0000 ";
  string const ip4 = "4500 004d 0000 0000 4006 0000 7f000001 7f000001 " + tcp;
  string const ip6 =
      "60000000 0039 0640" + zeros + "00000000 00000001" + zeros + "00000000 00000001" + tcp;
  auto const big = [&](string const& type, string const& size, string const& before) {
    return "a1b2c3d4 00020004" + zeros + "00040000 000000" + type + zeros + "000000" + size +
           "000000" + size + before + ip4;
  };
  string const raw = big("65", "4d", "");
  struct {
    string name, file;
    unsigned int port;
    string fault, notes;
  } const rows[] = {
      {"raw", raw + bytes, 0, "", good},
      {"port", raw + bytes, 4711, "", good},
      {"other port", raw + bytes, 1, "", ""},
      {"cut", raw, 0, "is cut short in a packet", ""},
      {"swapped, IPv6",
       "d4c3b2a1 02000400" + zeros + "00000400 65000000" + zeros + "61000000 61000000" + ip6 +
           bytes,
       0, "", good},
      {"Ethernet", big("01", "5b", "000000000000 000000000000 0800") + bytes, 0, "", good},
      {"VLAN", big("01", "5f", "000000000000 000000000000 8100 0001 0800") + bytes, 0, "", good},
      {"any", big("71", "5d", "0000 0000 0000" + zeros + "0800") + bytes, 0, "", good},
      {"pcapng", "0a0d0d0a", 0, "is a pcapng file; editcap -F pcap makes a pcap file of it", ""},
  };
  for (auto const& row : rows) {
    tBlob const file = hex(row.file);
    tNotes notes;
    EXPECT_TRUE(nk_explain::isCapture(file)) << row.name;
    EXPECT_EQ(nk_explain::explainCapture(file, row.port, notes.teller()), row.fault) << row.name;
    EXPECT_EQ(notes.text(), row.notes) << row.name;
    for (unsigned int i = 0; i < file.size(); ++i) {  // no damage does harm
      tNotes ignored;
      nk_explain::explainCapture(cut(file, i), 0, ignored.teller());
      nk_explain::explainCapture(changed(file, i, 0xFF), 0, ignored.teller());
    }
  }
}

}  // namespace
