// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Protocol/Bytes.h>

namespace quorl {

/// Reads values and remembers the first failure. After a failure every read returns an empty value, so that a
/// format is read without a check for each field. Memory follows the bytes that exist, not the lengths that
/// they announce.
///
/// *Queue*: one at a time. *Lifetime*: the bytes outlive the reader.
class HandOverReader {
 public:
  explicit HandOverReader(ByteView bytes) : reader_(bytes) {}

  bool isGood() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  std::size_t remaining() const { return reader_.remaining(); }
  void fail(std::string error) {
    if (isGood()) error_ = std::move(error);
  }

  std::uint32_t u32() { return take(&ByteReader::u32); }
  std::uint64_t u64() { return take(&ByteReader::u64); }
  std::int32_t i32() { return take(&ByteReader::i32); }
  UUID uuid() { return take(&ByteReader::uuid); }
  bool boolean() {
    const std::uint8_t value = take(&ByteReader::u8);
    if (value > 1) fail("a flag that is neither set nor clear");
    return value == 1;
  }
  /// Any bytes: names of files and commands need not be UTF-8.
  std::string text() { return std::string(textViewOf(take(&ByteReader::blob))); }
  Bytes bytes(std::size_t most) {
    const ByteView view = take(&ByteReader::blob);
    if (view.size() > most) fail("too many bytes");
    return isGood() ? Bytes(view.begin(), view.end()) : Bytes();
  }
  std::uint32_t count(std::uint32_t most) {
    const std::uint32_t value = u32();
    if (value > most) fail("too many entries");
    return isGood() ? value : 0;
  }
  Date date() {
    const double seconds = take(&ByteReader::f64);
    if (!std::isfinite(seconds)) fail("not a date");
    return {seconds};
  }
  Duration duration(std::uint64_t most) {
    const std::uint64_t value = u64();
    if (value > most) fail("too long a time");
    return isGood() ? Duration(static_cast<Duration::rep>(value)) : Duration::zero();
  }
  /// `last`: the last enumerator.
  template <class Enum>
  Enum enumerator(Enum last) {
    const std::uint8_t value = take(&ByteReader::u8);
    if (value > static_cast<std::uint8_t>(last)) fail("an unknown value");
    return isGood() ? static_cast<Enum>(value) : Enum{};
  }
  template <class Read>
  auto optional(Read read) -> std::optional<decltype(read())> {
    if (!boolean()) return std::nullopt;
    return read();
  }

 private:
  template <class T>
  T take(ByteReader::Result<T> (ByteReader::*read)()) {
    if (!isGood()) return T{};
    auto value = (reader_.*read)();
    if (!value) {
      fail("cut short");
      return T{};
    }
    return std::move(*value);
  }

  ByteReader reader_;
  std::string error_;
};

}  // namespace quorl
