// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Inserts one header line into the head of a response that arrives in pieces.
///
/// *Queue*: any, one thread at a time. *Ownership*: a value.
class ResponseHead {
 public:
  static constexpr std::size_t limit = 65'536;

  /// `line` has no line end.
  explicit ResponseHead(std::string line) : line_(std::move(line)) {}

  /// The bytes to pass on, once the head is complete; nothing while it is not. `line` becomes the first
  /// header. A head that is only a status line, or is longer than `limit`, stays as it is. Everything after
  /// it passes unchanged, without a call.
  std::optional<Bytes> append(ByteView bytes);

 private:
  std::string line_;
  Bytes buffer_;
};

}  // namespace quorl
