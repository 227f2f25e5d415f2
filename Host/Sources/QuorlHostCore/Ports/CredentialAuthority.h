// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlKit/Foundation/SecretText.h>

namespace quorl {

/// Checks passwords of the machine's accounts.
///
/// *Queue*: one thread at a time.
/// *Blocking*: for seconds, or longer where a network answers; callers use `Scheduler::blocking`.
class CredentialAuthority {
 public:
  virtual ~CredentialAuthority() = default;
  /// False also if the check cannot be made.
  virtual bool verify(const std::string& username, const SecretText& password) = 0;
};

}  // namespace quorl
