// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>

namespace quorl::client {

/// The kind of a failure, and the exit status of a command. `quorl_client help` documents the numbers; they
/// never change.
enum class ExitCode : std::uint8_t {
  ok = 0,
  failure = 1,       // the host or this machine failed
  usage = 2,         // the command line is wrong
  unreachable = 3,   // no session host answers at the address
  refused = 4,       // not paired, wrong PIN, locked out, another protocol version
  timedOut = 5,      // connected, but the answer did not come in time
  interrupted = 130  // by SIGINT, SIGTERM or SIGHUP
};

/// What happened, as a sentence without a full stop, and what a person can do about it (may be empty).
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
