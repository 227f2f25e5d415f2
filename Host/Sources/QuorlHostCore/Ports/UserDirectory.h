// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// An account of the machine. `fullName` may be empty.
struct UserEntry {
  std::uint32_t uid = 0;
  std::string username;
  std::string fullName;

  bool operator==(const UserEntry&) const = default;
};

/// The accounts of the machine and their pictures.
///
/// *Queue*: any thread.
/// *Blocking*: reads files and asks other processes; callers use `Scheduler::blocking`.
class UserDirectory {
 public:
  virtual ~UserDirectory() = default;

  /// The lowest uid of a person's account.
  virtual std::uint32_t firstLoginUID() = 0;
  /// In any order; accounts that cannot log in may be included if their uid or name shows it.
  virtual std::vector<UserEntry> entries() = 0;
  /// Passes the image files of an account to `take`, the best one first, until it returns true. The bytes are
  /// what that user put there: any size up to a few MiB, any content. They are valid during the call.
  virtual void offerPictures(const std::string& username, const std::function<bool(ByteView)>& take) = 0;
};

}  // namespace quorl
