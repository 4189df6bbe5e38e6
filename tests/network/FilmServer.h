#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ZELTest {

/// A server of files by HTTP, on this machine alone.
class FilmServer {
 public:
  /// The files by their names, which can be asked for from any byte on.
  explicit FilmServer(std::map<std::string, std::string> files);
  /// Sends the first `bytes` to who asks, never from the middle, and then keeps silent. It announces all of it.
  FilmServer(std::map<std::string, std::string> files, size_t bytes);
  ~FilmServer();

  std::string url(const std::string& name) const;

  /// Ends the connections, and all that follow once their bytes are sent.
  void hangUp();

  FilmServer(const FilmServer&) = delete;
  FilmServer& operator=(const FilmServer&) = delete;

 private:
  void serve();
  void answer(int connection);
  /// Head and body, as far as they are to be sent.
  std::string answerTo(const std::string& request) const;

  const std::map<std::string, std::string> files_;
  const size_t bytes_;
  int socket_ = -1;
  int port_ = 0;
  std::thread thread_;
  std::mutex mutex_;
  bool hangsUp_;
  std::vector<int> silent_;
};

}  // namespace ZELTest
