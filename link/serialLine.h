#pragma once

#include <termios.h>

#include <chrono>
#include <system_error>

#include "link/linkUrl.h"

/// Opens the serial line that `url` names: raw bytes, 8 data bits, no parity, one stop bit, no flow
/// control, non-blocking. What arrived before is dropped: it answers nobody who is still there.
/// Returns the descriptor, which is the caller's to close; on failure -1 and the reason in `error`.
int nk_openSerialLine(nk_linkUrl const& url, std::error_code& error);

/// Notes `baud` in `settings` for both directions. False if the system does not know that rate.
bool nk_storeBaudRate(unsigned int baud, termios& settings);

/// A payload size (nk_protocol::setMaxPayloadSize) for a serial line of that rate: parts take about
/// a quarter of a second, so that a damaged one costs little and others soon get their turn. 64 at
/// least.
unsigned int nk_linePayload(unsigned int baud);

/// How long the system may need to send what it has taken for the serial line `descriptor` before
/// it takes more: its buffer at the line's rate. 0 for anything that is no serial line.
std::chrono::milliseconds nk_lineBufferTime(int descriptor);
