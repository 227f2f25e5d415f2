// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/SecretText.h>

namespace quorl {

struct UserAccount {
  std::uint32_t uid = 0;
  std::string username;
  std::string fullName;
  bool isLoggedIn = false;
  bool isActive = false;
  std::optional<Bytes> avatarPNG;

  enum class SessionState : std::uint8_t { active, signedInBackground, signedOut };
  BOOST_DESCRIBE_NESTED_ENUM(SessionState, active, signedInBackground, signedOut)

  std::uint32_t id() const { return uid; }
  /// Not part of the JSON. An active account is `active` even if the peer does not report it as logged in.
  SessionState sessionState() const;

  bool operator==(const UserAccount&) const = default;
};
BOOST_DESCRIBE_STRUCT(UserAccount, (), (uid, username, fullName, isLoggedIn, isActive, avatarPNG))

struct SwitchUserRequest {
  std::uint32_t uid = 0;
  std::optional<SecretText> unlockPassword;

  bool operator==(const SwitchUserRequest&) const = default;
};
BOOST_DESCRIBE_STRUCT(SwitchUserRequest, (), (uid, unlockPassword))

enum class UserSwitchStatus : std::uint8_t { switched, unlockAttempted, unavailable, notPermitted, failed };
BOOST_DESCRIBE_ENUM(UserSwitchStatus, switched, unlockAttempted, unavailable, notPermitted, failed)

struct UserSwitchResult {
  std::uint32_t uid = 0;
  UserSwitchStatus status = UserSwitchStatus::failed;
  std::optional<std::string> message;
  bool secureInputActive = false;

  bool operator==(const UserSwitchResult&) const = default;
};
BOOST_DESCRIBE_STRUCT(UserSwitchResult, (), (uid, status, message, secureInputActive))

struct CredentialCheck {
  std::string username;
  SecretText password;

  bool operator==(const CredentialCheck&) const = default;
};
BOOST_DESCRIBE_STRUCT(CredentialCheck, (), (username, password))

struct CredentialCheckResult {
  std::string username;
  bool valid = false;

  bool operator==(const CredentialCheckResult&) const = default;
};
BOOST_DESCRIBE_STRUCT(CredentialCheckResult, (), (username, valid))

}  // namespace quorl
