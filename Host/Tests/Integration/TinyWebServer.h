// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <QuorlUnix/Descriptor.h>

namespace quorl::test {

/// A web service on the loopback interface, with a thread for each connection. Its paths:
///
/// - "/bytes/N": N bytes of a pattern
/// - "/echo": switches protocols, then returns every byte
/// - "/partial": half an answer, then the end
/// - "/reset": a reset in place of an answer
/// - "/hang": nothing
/// - all others: the request's head as the body
class TinyWebServer {
 public:
  TinyWebServer();
  TinyWebServer(const TinyWebServer&) = delete;
  TinyWebServer& operator=(const TinyWebServer&) = delete;
  ~TinyWebServer();

  std::uint16_t port() const { return port_; }
  /// The connections accepted so far.
  std::size_t connections() const { return count_; }

 private:
  void accept();
  void serve(int socket);

  std::uint16_t port_ = 0;
  Descriptor listener_;
  std::atomic<std::size_t> count_ = 0;
  std::mutex mutex_;  // guards these
  std::vector<int> open_;
  std::vector<std::thread> threads_;
  std::thread accepter_;
};

/// What "/bytes/N" sends.
std::string webBytes(std::size_t count);

}  // namespace quorl::test
