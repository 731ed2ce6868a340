#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "tools/common/files.h"
#include "tools/common/options.h"
#include "tools/nkexplain/bridge.h"
#include "tools/nkexplain/capture.h"
#include "tools/nkexplain/hexDump.h"
#include "tools/nkexplain/printer.h"

namespace {

constexpr char footer[] =
    "FILE is a capture file (pcap) with TCP, hexadecimal text (also that of hexdump -C, xxd and\n"
    "od -A x -t x1), or the bytes themselves; - stands for standard input. With --link the bytes\n"
    "come from a live link: together with --listen, nkexplain stands between stations and the\n"
    "panel and passes everything on, as long as its output is read.\n"
    "Each field is told with its place in the stream and the number of encoded bytes that carry\n"
    "it, its place in the frame's body or the message, its bytes, name and value.\n"
    "Bad things are told with the reason, and do not change the exit status.\n\n";

constexpr char examples[] =
    "\n\nExamples:\n"
    "  nkexplain dump.txt\n"
    "  nkexplain --json --port 4711 link.pcap\n"
    "  nkexplain --link tcp://127.0.0.1:4711 --listen tcp://127.0.0.1:4712 --record link.pcap\n"
    "  nkexplain --link serial:///dev/ttyUSB0?baud=9600";

struct tOptions {
  nk_explain::tBridge::tOptions live;
  std::string file;
  unsigned int port = 0;
  bool json = false;
};

bool isText(tBlob const& bytes) {
  return std::all_of(bytes.data(), bytes.data() + bytes.size(), [](unsigned char byte) {
    return (byte >= ' ' && byte < 0x7F) || byte == '\n' || byte == '\r' || byte == '\t';
  });
}

std::string explainFile(tOptions const& options, nk_explain::tTeller const& tell) {
  tBlob content;
  if (char const* const problem = nk_tools::readFile(options.file, content)) return problem;
  if (nk_explain::isCapture(content))
    return nk_explain::explainCapture(content, options.port, tell);
  std::string fault;
  if (isText(content)) {
    tBlob bytes;
    std::string_view const text(reinterpret_cast<char const*>(content.data()), content.size());
    fault = nk_explain::readHexDump(text, bytes);
    content.swap(bytes);
    if (!fault.empty()) return fault;
  }
  nk_explain::tStream stream("", tell);
  stream.feed(content.data(), content.size());
  stream.finish();
  return {};
}

bool outputFailed() { return std::fflush(stdout) != 0 || std::ferror(stdout) != 0; }

bool nobodyReads() { return outputFailed() || nk_tools::readerGone(); }

nk_tools::teExit run(tOptions const& options, bool live) {
  auto const tell = options.json ? nk_explain::printJson : nk_explain::printText;
  auto status = nk_tools::STATUS_OK;
  if (live) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    status = nk_explain::tBridge(options.live, tell, nobodyReads).run();
  } else if (auto const fault = explainFile(options, tell); !fault.empty()) {
    nk_tools::say(options.file + ": " + fault);
    status = nk_tools::STATUS_USAGE;
  }
  if (live ? nobodyReads() : outputFailed()) {
    nk_tools::say("the output cannot be written");
    return nk_tools::STATUS_OTHER;
  }
  return status;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a fault in the declarations throws
int main(int argc, char** argv) {
  nk_tools::programName = "nkexplain";
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app("Explains the bytes between stations and panels.", nk_tools::programName);
  tOptions options;
  auto* const file = app.add_option("file", options.file, "What to explain")->type_name("FILE");
  auto* const link =
      nk_tools::addLinkOption(app, [&](nk_linkUrl const& url) { options.live.link = url; });
  auto const storeListen = [&](nk_linkUrl const& url) {
    if (url.kind == nk_linkUrl::KIND_SERIAL)
      throw CLI::ValidationError("--listen", "nobody can come by a serial line");
    options.live.listen = url;
  };
  nk_tools::addLinkOption(app, storeListen, "--listen")
      ->description("Where stations come; tcp://... or unix://...")
      ->needs(link);
  app.add_option("--record", options.live.record, "Write what crosses the link as a capture file")
      ->type_name("FILE")
      ->needs(link);
  app.add_option("--port", options.port, "Only TCP from or to this port of a capture file")
      ->check(CLI::Range(1, 65535))
      ->excludes(link);
  app.add_flag("--json", options.json, "Print lines of JSON");
  nk_tools::addVersionOption(app);
  app.footer(footer + nk_tools::exitHelp(nk_tools::STATUS_LINK) + examples);
  app.final_callback([&] {
    if ((file->count() != 0) == (link->count() != 0)) throw CLI::RequiredError("FILE or --link");
  });
  return nk_tools::parseAndRun(app, argc, argv, [&] { return run(options, link->count() != 0); });
}
