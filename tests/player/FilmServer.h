#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ZELTest {

/// A server of one film by HTTP, on this machine alone, that sends only so much of it. It cannot begin in the middle.
class FilmServer {
 public:
  /// Sends the first `bytes` to who asks, and then keeps silent. It announces all of it.
  FilmServer(std::string film, size_t bytes);
  ~FilmServer();

  std::string url() const;

  /// Ends the connections, and all that follow once their bytes are sent.
  void hangUp();

  FilmServer(const FilmServer&) = delete;
  FilmServer& operator=(const FilmServer&) = delete;

 private:
  void serve();
  void answer(int connection);

  const std::string film_;
  const size_t bytes_;
  int socket_ = -1;
  int port_ = 0;
  std::thread thread_;
  std::mutex mutex_;
  bool hangsUp_ = false;
  std::vector<int> silent_;
};

}  // namespace ZELTest
