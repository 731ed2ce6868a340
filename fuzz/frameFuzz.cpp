#include "protocol/frame.h"

#include <algorithm>
#include <vector>

#include "fuzz.h"
#include "nkSupport/base128.h"
#include "nkSupport/crc.h"

namespace {

using fuzz::require;

tBlob written(nk_telegramPart& part) {
  tBlob frame;
  require(part.serialize(&frame), "what was read can be written");
  require(frame.data()[0] == frameStart && frame.getIndexOf(frameEnd) == frame.size() - 1,
          "the bounds of a frame stand at its ends alone");
  return frame;
}

// The frames of all parts that `next` takes off a stream, as they are written.
template <class tNext>
void take(tBlob& stream, tBlob& frames, tNext next) {
  nk_telegramPart part;
  unsigned int before = 0;
  do {
    before = stream.size();
    if (next(stream, part)) frames.append(written(part));
  } while (stream.size() != before);
}

// The same in pieces of the given size, with a reader that remembers.
tBlob framesOf(tBlob const& bytes, unsigned int pieceSize, tBlob& stream) {
  nk_frameReader reader;
  nk_telegramPart spare;
  tBlob frames;
  for (unsigned int at = 0; at < bytes.size(); at += pieceSize) {
    stream.append(bytes.data() + at, std::min(pieceSize, bytes.size() - at));
    take(stream, frames, [&reader](auto& from, auto& part) { return reader.next(from, part); });
    reader.recycle(stream, spare);
  }
  return frames;
}

// The input as the body of a frame, so that its CRC and encoding are good.
void checkBody(tBlob body) {
  unsigned char const crc = crc_crc8init(body.data(), body.size());
  body.append(&crc, 1);
  tBlob stream(&frameStart, 1);
  base128::encode(stream.extend(base128::encodedSize(body.size())), body.data(), body.size());
  stream.append(&frameEnd, 1);
  // The CRC counts as one of the bytes that the header and its payload may take.
  bool good = body.size() >= frameHeaderSize;
  unsigned int claimed = 0;
  if (good) std::memcpy(&claimed, body.data() + 21, sizeof claimed);
  good = good && claimed <= body.size() - frameHeaderSize;
  nk_telegramPart part;
  require(part.streamContainsTelegram(&stream) == good, "a frame is good if its lengths are");
  require(stream.empty(), "and gone either way");
  if (!good) return;
  require(part.payload()->size() == claimed, "the payload is as long as it says");
  tBlob const frame = written(part);
  tBlob copy(frame);
  nk_telegramPart again;
  require(again.streamContainsTelegram(&copy) && written(again) == frame, "it reads back");
  unsigned char decoded[frameHeaderSize + 1];
  base128::decode(decoded, frame.data() + 1, base128::encodedSize(frameHeaderSize));
  decoded[20] = body.data()[20];  // the flags have bits without a meaning
  require(std::memcmp(decoded, body.data(), frameHeaderSize) == 0, "the header is kept");
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  tBlob const bytes(data, static_cast<unsigned int>(size));
  tBlob whole(bytes), frames, rest;
  take(whole, frames, [](auto& from, auto& part) { return part.streamContainsTelegram(&from); });
  for (unsigned int const pieceSize : {1U, 7U, 4096U}) {
    rest.clear();
    require(framesOf(bytes, pieceSize, rest) == frames && rest == whole, "pieces change nothing");
  }
  // What stays has no frame in it, unless an end byte blocks the stream.
  unsigned int const start = whole.getIndexOf(frameStart), end = whole.getIndexOf(frameEnd);
  require(start == tBlob::npos || end == tBlob::npos || end < start, "all frames are taken");
  checkBody(bytes);
  return 0;
}
