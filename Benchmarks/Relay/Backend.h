// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace quorl::bench {

/// A web service in a process of its own: answers every request with five bytes, "/big" with a gibibyte, and
/// closes after an answer to a request with "Connection: close". After "/echo" it returns every byte.
class Backend {
 public:
  static constexpr std::uint64_t bigSize = 1ULL << 30;

  explicit Backend(std::uint16_t port);
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  ~Backend();

 private:
  pid_t pid_ = -1;
};

/// Copies from a new connection to `port` with reads of 256 KiB, or with splice(2): the cost of a pipe
/// without anything else. In a process of its own.
class BarePipe {
 public:
  enum class Way : std::uint8_t { readAndWrite, splice };

  BarePipe(std::uint16_t port, std::uint16_t backend, Way way);
  BarePipe(const BarePipe&) = delete;
  BarePipe& operator=(const BarePipe&) = delete;
  ~BarePipe();

 private:
  pid_t pid_ = -1;
};

}  // namespace quorl::bench
