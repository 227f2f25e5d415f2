// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

using Bytes = std::vector<std::uint8_t>;
/// Borrowed bytes, valid as long as the buffer they point into.
using ByteView = std::span<const std::uint8_t>;
/// Immutable bytes that several frames, clients or queues share; safe to read from any thread.
using SharedBytes = std::shared_ptr<const Bytes>;

inline ByteView viewOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline Bytes bytesOf(std::string_view text) {
  const ByteView view = viewOf(text);
  return {view.begin(), view.end()};
}

inline std::string_view textViewOf(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The bytes unchanged; UTF-8 is not checked.
inline std::string textOf(ByteView bytes) {
  return std::string(textViewOf(bytes));
}

inline SharedBytes shareBytes(Bytes bytes) {
  return std::make_shared<const Bytes>(std::move(bytes));
}

}  // namespace quorl
