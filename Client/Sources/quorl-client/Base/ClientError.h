// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>

namespace quorl::client {

// What the process tells a script. The numbers are documented in `quorl_client help` and never change.
enum class ExitCode : std::uint8_t {
  ok = 0,
  failure = 1,       // the host or this machine could not do it
  usage = 2,         // the command line makes no sense
  unreachable = 3,   // no session host answers at the address
  refused = 4,       // not paired, wrong PIN, locked out, another protocol version
  timedOut = 5,      // connected, but what was awaited did not come in time
  interrupted = 130  // by SIGINT, SIGTERM or SIGHUP
};

// What happened, in one sentence without a full stop, and what a person can do about it (may be empty).
struct ClientError {
  ExitCode code = ExitCode::failure;
  std::string what;
  std::string advice;
};

template <class T>
using Outcome = std::expected<T, ClientError>;

inline std::unexpected<ClientError> failed(ExitCode code, std::string what, std::string advice = {}) {
  return std::unexpected(ClientError{code, std::move(what), std::move(advice)});
}

inline std::unexpected<ClientError> cannotWrite(const std::filesystem::path& path, const std::string& cause) {
  return failed(ExitCode::failure, path.string() + " cannot be written: " + cause,
                "Check that the folder exists, has room and belongs to you.");
}

}  // namespace quorl::client
