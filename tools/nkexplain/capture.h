#pragma once

#include <string>

#include "nkSupport/tBlob.h"
#include "tools/nkexplain/note.h"

namespace nk_explain {

/// True if the bytes begin as a capture file does, of the kind that explainCapture reads or of
/// another one that it can name.
bool isCapture(tBlob const& file);

/// Explains the TCP streams in a capture file: pcap of either byte order, with times in micro- or
/// nanoseconds, of Ethernet, raw IP, loopback or "any". Fragments of IP are not joined. Only
/// streams from or to `port` if it is not 0. Returns what is wrong with the file, "" if nothing is.
///
/// Its own reader and not libpcap's: of the work, that library would do the smaller part, and a
/// program that explains what hostile peers send has to be small.
std::string explainCapture(tBlob const& file, unsigned int port, tTeller const& tell);

}  // namespace nk_explain
