// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Models/Models.h>
#include <quorl-client/Base/Waiter.h>
#include <quorl-client/Files/LocalFiles.h>
#include <quorl-client/Session/Session.h>

namespace quorl::client {

/// What was moved. The host's hash equals this one.
struct MovedFile {
  std::uint64_t byteCount = 0;
  SHA256Digest sha256{};
};

/// Called with the bytes moved so far and the bytes that were announced, often.
using MoveProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// How long to wait for an answer, and for the next bytes of a file that does not move.
struct MoveLimits {
  Clock::duration answer = std::chrono::seconds(10);
  Clock::duration stall = std::chrono::seconds(60);
};

/// Sends a file into the host's folder for downloads and compares the hashes. Fails if the host refuses it,
/// cannot store it, or has another hash.
///
/// *Queue*: the session's thread; hashes on a thread of its own. *Blocking*: until the file is stored.
Outcome<MovedFile> pushFile(Session& session, LocalSource& source, const MoveLimits& limits,
                            const MoveProgress& progress);

/// Receives a file from the host into a folder and compares the hashes. The file appears under its name when
/// it is whole. A failure or an interruption leaves nothing.
///
/// *Queue*, *Blocking*: as above.
struct PulledFile {
  std::filesystem::path path;
  MovedFile file;
};
Outcome<PulledFile> pullFile(Session& session, const std::string& remotePath,
                             const std::filesystem::path& folder, LocalTarget::Existing existing,
                             const MoveLimits& limits, const MoveProgress& progress);

/// Asks for a folder of the host. A folder that the host does not list is an error.
Outcome<DirectoryListing> listFolder(Session& session, const std::string& remotePath, Deadline deadline);

}  // namespace quorl::client
