// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace quorl {

/// A password or another text that must not outlive its use. Every copy is overwritten when it is destroyed,
/// assigned or moved from. The type has no output operator, so that it cannot be logged by mistake.
///
/// *Queue*: one at a time; a value.
/// *Ownership*: owns its bytes. They are in OpenSSL's secure heap while that has room (`protectSecrets`),
/// else on the ordinary heap.
class SecretText {
 public:
  SecretText() = default;
  explicit SecretText(std::string_view text);
  SecretText(const SecretText& other) : SecretText(other.view()) {}
  SecretText(SecretText&& other) noexcept;
  SecretText& operator=(const SecretText& other);
  SecretText& operator=(SecretText&& other) noexcept;
  ~SecretText() { wipe(); }

  /// UTF-8. Valid until the next change.
  std::string_view view() const { return {bytes_, size_}; }
  bool isEmpty() const { return size_ == 0; }

  bool operator==(const SecretText& other) const { return view() == other.view(); }

 private:
  void wipe();

  char* bytes_ = nullptr;
  std::size_t size_ = 0;
};

/// Overwrites the memory, also where a compiler sees that it is not read again.
void overwrite(std::span<char> memory);

/// Keeps the secrets of this process out of core dumps and of swap, as far as the system permits. Called once
/// at the start, before there are other threads.
void protectSecrets();

}  // namespace quorl
