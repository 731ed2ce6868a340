#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace nk_explain {

/// Writes what crosses a link as a capture file of TCP on 127.0.0.1, whatever the link is: so the
/// usual programs can read it, and no rights on a network interface are needed. Each connection has
/// a beginning and an end; checksums of TCP are left 0, as where the network card computes them.
class tRecorder {
 public:
  /// Creates the file. Throws std::system_error if that fails. `port` is the panel's end.
  tRecorder(std::string const& path, unsigned short port);

  /// One connection, made by the station.
  class tConnection {
   public:
    /// `recorder` must outlive it.
    explicit tConnection(tRecorder& recorder);
    void sent(bool byStation, unsigned char const* bytes, unsigned int size);
    void end();

   private:
    void packet(bool byStation, unsigned int flags, unsigned char const* bytes, unsigned int size);

    tRecorder& m_recorder;
    unsigned short m_stationPort;
    unsigned int m_next[2] = {1000, 2000};  // sequence number of the panel's and station's bytes
  };

 private:
  void write(void const* bytes, unsigned int size);

  struct tClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, tClose> m_file;
  unsigned short const m_port;
  unsigned short m_lastStationPort = 40000;
};

}  // namespace nk_explain
