#include "player/FilmServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace ZELTest {

FilmServer::FilmServer(std::string film, size_t bytes) : film_(std::move(film)), bytes_(std::min(bytes, film_.size())) {
  socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket_, generic, length) == 0 && listen(socket_, 8) == 0) getsockname(socket_, generic, &length);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

FilmServer::~FilmServer() {
  shutdown(socket_, SHUT_RDWR);
  thread_.join();
  close(socket_);
  hangUp();
}

void FilmServer::hangUp() {
  const std::lock_guard lock(mutex_);
  hangsUp_ = true;
  for (const int connection : silent_) close(connection);
  silent_.clear();
}

std::string FilmServer::url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/film.mkv"; }

/// One at a time, until the socket is shut down.
void FilmServer::serve() {
  for (int connection = accept(socket_, nullptr, nullptr); connection >= 0;
       connection = accept(socket_, nullptr, nullptr)) {
    answer(connection);
    const std::lock_guard lock(mutex_);
    if (hangsUp_) {
      close(connection);
    } else {
      silent_.push_back(connection);
    }
  }
}

void FilmServer::answer(int connection) {
  std::string request;
  char piece[1024];
  while (request.find("\r\n\r\n") == std::string::npos) {
    const ssize_t count = recv(connection, piece, sizeof piece, 0);
    if (count <= 0) return;
    request.append(piece, static_cast<size_t>(count));
  }
  const std::string head =
      "HTTP/1.0 200 OK\r\nContent-Type: video/x-matroska\r\nContent-Length: " + std::to_string(film_.size()) +
      "\r\n\r\n";
  const std::string sent = head + film_.substr(0, bytes_);
  for (size_t at = 0; at < sent.size();) {
    const ssize_t count = send(connection, sent.data() + at, sent.size() - at, MSG_NOSIGNAL);
    if (count <= 0) return;
    at += static_cast<size_t>(count);
  }
}

}  // namespace ZELTest
