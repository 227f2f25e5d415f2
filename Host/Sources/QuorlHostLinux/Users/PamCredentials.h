// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/CredentialAuthority.h>

namespace quorl {

/// Checks passwords by PAM (pam(3)), as the service "quorl-host". Without a file of that name in /etc/pam.d,
/// PAM applies its service "other".
///
/// PAM checks the host's own user in an ordinary process. For other users its modules need more rights, and
/// every password is wrong.
///
/// *Queue*: that of the port. *Blocking*: for tens of milliseconds with local accounts. PAM's delay after a
/// wrong password is switched off, because the caller limits the number of failures.
class PamCredentials final : public CredentialAuthority {
 public:
  /// `folder`: of the service files, if it is not the system's.
  explicit PamCredentials(std::string service = "quorl-host", std::string folder = {});
  bool verify(const std::string& username, const SecretText& password) override;

 private:
  const std::string service_;
  const std::string folder_;
};

}  // namespace quorl
