// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlHostPosix/Waker.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// Waits for changes of sockets: an event means that a socket has become readable or writable since the last
/// one, not that it still is. So a socket costs one system call when it is added and none per event;
/// closing it removes it. Each system implements this class; Linux uses epoll (epoll(7), "edge-triggered").
///
/// *Queue*: `wait` on one thread; the rest from any.
class SocketPoller {
 public:
  struct Event {
    std::uint64_t token = 0;  // counts from 1
    bool isReadable = false;
    bool isWritable = false;
    bool hasEnded = false;  // the peer has finished sending, or the connection has failed
  };

  SocketPoller();

  /// Reports input that is there already. False if the system refuses.
  bool add(int socket, std::uint64_t token);
  /// Reports room for output too, from now on.
  void watchRoom(int socket, std::uint64_t token);

  /// Ends the current or the next `wait`.
  void wake();
  /// Without a limit, waits until there is an event. The result is valid until the next call.
  const std::vector<Event>& wait(std::optional<std::chrono::milliseconds> limit);

 private:
  Descriptor epoll_;
  Waker wakeUp_;
  std::vector<Event> events_;
};

}  // namespace quorl
