#include "network/FilmServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace ZELTest {

namespace {

std::string headOf(const std::string& status, size_t length, const std::string& further) {
  return "HTTP/1.0 " + status + "\r\nContent-Length: " + std::to_string(length) + "\r\n" + further + "\r\n";
}

}  // namespace

FilmServer::FilmServer(std::map<std::string, std::string> files) : FilmServer(std::move(files), SIZE_MAX) {}

FilmServer::FilmServer(std::map<std::string, std::string> files, size_t bytes)
    : files_(std::move(files)), bytes_(bytes), hangsUp_(bytes == SIZE_MAX) {
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

std::string FilmServer::url(const std::string& name) const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/" + name;
}

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
  const std::string sent = answerTo(request);
  for (size_t at = 0; at < sent.size();) {
    const ssize_t count = send(connection, sent.data() + at, sent.size() - at, MSG_NOSIGNAL);
    if (count <= 0) return;
    at += static_cast<size_t>(count);
  }
}

std::string FilmServer::answerTo(const std::string& request) const {
  const size_t path = request.find('/') + 1;
  const auto found = files_.find(request.substr(path, request.find(' ', path) - path));
  if (found == files_.end()) return headOf("404 Not Found", 0, "");
  const std::string& file = found->second;
  if (bytes_ < file.size()) return headOf("200 OK", file.size(), "") + file.substr(0, bytes_);
  constexpr std::string_view kRange = "Range: bytes=";
  const size_t range = request.find(kRange);
  if (range == std::string::npos) return headOf("200 OK", file.size(), "Accept-Ranges: bytes\r\n") + file;
  const size_t from = std::stoul(request.substr(range + kRange.size()));
  if (from >= file.size()) return headOf("416 Range Not Satisfiable", 0, "");
  const std::string all = std::to_string(file.size());
  const std::string bytes = std::to_string(from) + "-" + std::to_string(file.size() - 1) + "/" + all;
  return headOf("206 Partial Content", file.size() - from,
                "Accept-Ranges: bytes\r\nContent-Range: bytes " + bytes + "\r\n") +
         file.substr(from);
}

}  // namespace ZELTest
