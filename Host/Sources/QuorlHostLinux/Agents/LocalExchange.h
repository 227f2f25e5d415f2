// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quorl {

enum class ExchangeEnd : std::uint8_t {
  done,      // the answer has ended; it may be empty
  absent,    // nothing listens, or another process than expected
  timedOut,  // not accepted or not answered in time
  tooLong,   // the answer exceeds the limit
};

struct ExchangeBounds {
  std::chrono::milliseconds time;
  std::size_t answerSize;
};

struct ExchangeResult {
  ExchangeEnd end = ExchangeEnd::absent;
  pid_t server = 0;  // of the process that listens
  std::string answer;
};

/// Sends a request to a stream socket of this machine, ends the sending side, and collects what comes until
/// the other side has ended too (Linux manual, unix(7)). A name that begins with "@" is in the abstract
/// namespace, any other one is a path. Only a process of the same user is spoken to, and with `server` above
/// 0 only that one: nothing is sent to others.
ExchangeResult exchangeLocally(std::string_view name, std::string_view request, pid_t server,
                               const ExchangeBounds& bounds);

}  // namespace quorl
