#pragma once

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace ZELTest {

/// A server of one film by HTTP, on this machine alone, that sends only so much of it. It cannot begin in the middle.
class FilmServer {
 public:
  /// Sends the first `bytes`, and then hangs up or keeps silent. It announces all of it.
  FilmServer(std::string film, size_t bytes, bool hangsUp);
  ~FilmServer();

  std::string url() const;

  FilmServer(const FilmServer&) = delete;
  FilmServer& operator=(const FilmServer&) = delete;

 private:
  void serve();
  void answer(int connection);

  const std::string film_;
  const size_t bytes_;
  const bool hangsUp_;
  int socket_ = -1;
  int port_ = 0;
  std::thread thread_;
  /// The serving thread's, until that has ended.
  std::vector<int> silent_;
};

}  // namespace ZELTest
