// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>

#include <QuorlKit/Foundation/SecretText.h>

namespace quorl {

/// The characters of a password as key events carry them: one UTF-16 code unit each. Of a character above
/// U+FFFF only the low 16 bits are typed, as clients expect.
///
/// *Queue*: one thread at a time; a value.
class PasswordKeys {
 public:
  explicit PasswordKeys(SecretText password) : password_(std::move(password)) {}

  /// Takes the next unit; nothing at the end. Bytes that are not UTF-8 become U+FFFD.
  std::optional<char16_t> next();

 private:
  SecretText password_;
  std::size_t position_ = 0;
};

}  // namespace quorl
