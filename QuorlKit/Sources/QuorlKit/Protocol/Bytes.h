// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

enum class ReadError : std::uint8_t {
  underflow,  // fewer bytes remain than a read needs
  badValue,   // the bytes have no valid meaning
};

/// Appends values to a byte buffer. Integers and floats (IEEE 754) are little-endian, unlike a frame's
/// header.
///
/// *Queue*: one at a time. *Ownership*: a value.
class ByteWriter {
 public:
  ByteWriter() = default;
  explicit ByteWriter(std::size_t capacity) { data_.reserve(capacity); }

  void put(std::uint8_t value);
  void put(std::uint16_t value);
  void put(std::uint32_t value);
  void put(std::uint64_t value);
  void put(std::int32_t value);
  void put(float value);
  void put(double value);
  void put(bool value);
  /// The 16 bytes in textual order.
  void put(const UUID& value);
  void putBytes(ByteView bytes);
  /// An unsigned 32-bit length, then the bytes. More bytes than the length can express are a programming
  /// error.
  void putBlob(ByteView bytes);
  /// The text's UTF-8 bytes as a blob.
  void putString(std::string_view text);

  const Bytes& data() const { return data_; }
  Bytes take() { return std::move(data_); }

 private:
  template <class Unsigned>
  void putLittleEndian(Unsigned value);

  Bytes data_;
};

/// Reads values from bytes that it does not own. A read that underflows does not move the offset, except that
/// `blob` and `string` leave it after their length if only the body is short.
///
/// *Queue*: one at a time. *Lifetime*: the bytes outlive the reader and every view that it returns.
class ByteReader {
 public:
  template <class T>
  using Result = std::expected<T, ReadError>;

  explicit ByteReader(ByteView data) : data_(data) {}

  Result<std::uint8_t> u8();
  Result<std::uint16_t> u16();
  Result<std::uint32_t> u32();
  Result<std::uint64_t> u64();
  Result<std::int32_t> i32();
  Result<float> f32();
  Result<double> f64();
  /// Every byte but 0 is true.
  Result<bool> boolean();
  Result<UUID> uuid();
  /// An unsigned 32-bit length, then that many bytes.
  Result<ByteView> blob();
  /// A blob; one that is not valid UTF-8 fails with `badValue`.
  Result<std::string> string();
  /// All unread bytes, possibly none.
  ByteView rest();

  std::size_t offset() const { return offset_; }
  std::size_t remaining() const { return data_.size() - offset_; }

 private:
  Result<ByteView> bytes(std::size_t count);
  template <class Unsigned>
  Result<Unsigned> littleEndian();

  ByteView data_;
  std::size_t offset_ = 0;
};

}  // namespace quorl
