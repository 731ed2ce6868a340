// Compression against zlib, which is held to the same task: Huffman codes only, or run lengths
// only.

#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/compare.h"
#include "nkSupport/tCompression.h"

namespace {

using tContent = std::shared_ptr<tBlob const>;

tContent toContent(std::string const& bytes) {
  return std::make_shared<tBlob const>(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

struct tRandom {
  std::mt19937 engine{1};
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(engine() % limit); }
};

constexpr unsigned int usualSize = 256 << 10;

// Events as a station logs them.
std::string text(unsigned int size) {
  static char const* const words[] = {
      "the",      "panel",   "image",       "update",  "energy",  "was",
      "received", "after",   "schedule",    "with",    "battery", "low",
      "voltage",  "state",   "temperature", "restart", "by",      "request",
      "of",       "station", "and",         "waits",   "for",     "configuration"};
  tRandom random;
  std::string bytes = "[";
  for (unsigned int i = 0; bytes.size() < size; ++i) {
    bytes += "{\"id\":" + std::to_string(i) + ",\"time\":" + std::to_string(1700000000 + 37 * i) +
             ",\"uid\":\"" + std::to_string(40000 + random.below(3000)) + "\",\"text\":\"";
    for (unsigned int count = 3 + random.below(9); count != 0; --count) {
      bytes += words[random.below(24)];
      bytes += count == 1 ? "." : " ";
    }
    bytes += "\",\"volt\":" + std::to_string(3 + random.below(900) / 1000.0) + "},\n";
  }
  return bytes.substr(0, size);
}

std::string noise(unsigned int size) {
  tRandom random;
  std::string bytes;
  while (bytes.size() < size) bytes += static_cast<char>(random.below(256));
  return bytes;
}

// Rows of a table as they lie in memory: counter, id, time, small numbers, flags.
std::string records(unsigned int size) {
  tRandom random;
  std::string bytes;
  for (std::uint32_t i = 0; bytes.size() < size; ++i) {
    std::uint32_t const row[] = {i, 0x00420000 + random.below(500), 1700000000 + 60 * i,
                                 random.below(50) | random.below(200) << 16, random.below(4)};
    bytes.append(reinterpret_cast<char const*>(row), sizeof row);
  }
  return bytes.substr(0, size);
}

// A display's image, one byte per pixel: bars and letters on a plain ground.
std::string bitmap(unsigned int size) {
  tRandom random;
  std::string bytes;
  while (bytes.size() < size) {
    std::string row;
    while (row.size() < 800) {
      row.append(1 + random.below(random.below(4) != 0 ? 12 : 250), '\xFF');
      row.append(1 + random.below(12), static_cast<char>(random.below(3)));
    }
    for (unsigned int i = 0; i < 8; ++i) bytes.append(row, 0, 800);
  }
  return bytes.substr(0, size);
}

// A raw deflate stream of one strategy, kept for many contents. Its form has no checksum either.
class tZlib {
 public:
  explicit tZlib(int strategy) {
    deflateInit2(&m_deflate, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, strategy);
    inflateInit2(&m_inflate, -15);
  }
  ~tZlib() {
    deflateEnd(&m_deflate);
    inflateEnd(&m_inflate);
  }
  tZlib(tZlib const&) = delete;
  tZlib& operator=(tZlib const&) = delete;

  // `out` has the size that may be needed; it is kept from call to call.
  unsigned int encode(tBlob const& content, std::vector<unsigned char>& out) {
    deflateReset(&m_deflate);
    return run(m_deflate, &deflate, content.data(), content.size(), out);
  }
  unsigned int decode(unsigned char const* bytes, unsigned int size,
                      std::vector<unsigned char>& out) {
    inflateReset(&m_inflate);
    return run(m_inflate, &inflate, bytes, size, out);
  }

 private:
  static unsigned int run(z_stream& stream, int (*work)(z_stream*, int), unsigned char const* bytes,
                          unsigned int size, std::vector<unsigned char>& out) {
    stream.next_in = const_cast<unsigned char*>(bytes);
    stream.avail_in = size;
    stream.next_out = out.data();
    stream.avail_out = static_cast<unsigned int>(out.size());
    if (work(&stream, Z_FINISH) != Z_STREAM_END) return 0;
    return static_cast<unsigned int>(stream.total_out);
  }
  z_stream m_deflate{}, m_inflate{};
};

bench::tWork zlibEncoding(tContent const& content, int strategy) {
  return [content, strategy](benchmark::State& state) {
    tZlib zlib(strategy);
    std::vector<unsigned char> out(2 * content->size());
    for (auto _ : state) benchmark::DoNotOptimize(zlib.encode(*content, out));
  };
}

bench::tWork zlibDecoding(tContent const& content, int strategy) {
  return [content, strategy](benchmark::State& state) {
    tZlib zlib(strategy);
    std::vector<unsigned char> encoded(2 * content->size()), out(content->size());
    unsigned int const size = zlib.encode(*content, encoded);
    for (auto _ : state) benchmark::DoNotOptimize(zlib.decode(encoded.data(), size, out));
    if (std::memcmp(out.data(), content->data(), out.size()) != 0) state.SkipWithError("differs");
  };
}

bench::tWork encoding(tContent const& content, tBlob (*encode)(tBlob const&)) {
  return [content, encode](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(encode(*content).size());
  };
}

bench::tWork decoding(tContent const& content, tBlob (*encode)(tBlob const&),
                      tBlob (*decode)(tBlob const&)) {
  return [content, encode, decode](benchmark::State& state) {
    tBlob const encoded = encode(*content);
    tBlob decoded;
    for (auto _ : state) {
      decoded = decode(encoded);
      benchmark::DoNotOptimize(decoded.data());
    }
    if (!(decoded == *content)) state.SkipWithError("differs");
  };
}

bench::tWork choosing(tContent const& content) {
  return [content](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(tCompression::chooseShortest(*content));
  };
}

bench::tWork copying(tContent const& content) {
  return [content](benchmark::State& state) {
    std::vector<unsigned char> out(content->size());
    for (auto _ : state) {
      std::memcpy(out.data(), content->data(), out.size());
      benchmark::ClobberMemory();
    }
  };
}

double huffmanSizeAgainstZlib(tBlob const& content) {
  std::vector<unsigned char> out(2 * content.size());
  return static_cast<double>(tCompression::encodeHuffman(content).size()) /
         tZlib(Z_HUFFMAN_ONLY).encode(content, out);
}

constexpr auto encodeHuffman = &tCompression::encodeHuffman;
constexpr auto decodeHuffman = &tCompression::decodeHuffman;
constexpr auto encodeRLE = &tCompression::encodeRLE;
constexpr auto decodeRLE = &tCompression::decodeRLE;

void rowsAgainstZlib(std::string const& what, tContent const& content, bool zlibCopies) {
  std::string const of = " of " + what + ", against zlib";
  bench::atLeast("Huffman encoding" + of, 4, encoding(content, encodeHuffman),
                 zlibEncoding(content, Z_HUFFMAN_ONLY));
  auto const ours = decoding(content, encodeHuffman, decodeHuffman);
  auto const theirs = zlibDecoding(content, Z_HUFFMAN_ONLY);
  // What zlib stores without a code it only copies, which nothing outdoes.
  if (zlibCopies) {
    bench::tell("Huffman decoding" + of, ours, theirs);
  } else {
    bench::atLeast("Huffman decoding" + of, 4, ours, theirs);
  }
  bench::figure("Huffman size" + of, 1.03, [content] { return huffmanSizeAgainstZlib(*content); });
  bench::atLeast("RLE encoding" + of, 10, encoding(content, encodeRLE),
                 zlibEncoding(content, Z_RLE));
  bench::tell("RLE decoding" + of, decoding(content, encodeRLE, decodeRLE),
              zlibDecoding(content, Z_RLE));
}

void rowsOfSize(unsigned int size) {
  std::string const bytes = std::to_string(size) + " bytes of ";
  std::pair<char const*, std::string> const contents[] = {
      {"noise", noise(size)}, {"text", text(size)}, {"records", records(size)}};
  for (auto const& [what, content] : contents) {
    bench::tell("choice for " + bytes + what + ", against memcpy", choosing(toContent(content)),
                copying(toContent(content)));
  }
}

void rows() {
  rowsAgainstZlib("text", toContent(text(usualSize)), false);
  rowsAgainstZlib("records", toContent(records(usualSize)), false);
  rowsAgainstZlib("a bitmap", toContent(bitmap(usualSize)), false);
  rowsAgainstZlib("noise", toContent(noise(usualSize)), true);
  for (unsigned int const size : {64U, 200U, 64U << 10, 1U << 20}) rowsOfSize(size);
  for (unsigned int const size : {64U, 200U}) {
    tContent const content = toContent(text(size));
    std::string const of = " of " + std::to_string(size) + " bytes of text, against zlib";
    bench::tell("Huffman encoding" + of, encoding(content, encodeHuffman),
                zlibEncoding(content, Z_HUFFMAN_ONLY));
    bench::tell("Huffman decoding" + of, decoding(content, encodeHuffman, decodeHuffman),
                zlibDecoding(content, Z_HUFFMAN_ONLY));
  }
}

bench::tRegister const reg(rows);

}  // namespace
