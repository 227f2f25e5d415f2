// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/Bytes.h>

#include <algorithm>
#include <bit>
#include <limits>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

template <class Unsigned>
void ByteWriter::putLittleEndian(Unsigned value) {
  std::array<std::uint8_t, sizeof(Unsigned)> bytes;
  for (std::size_t index = 0; index < bytes.size(); ++index)
    bytes[index] = static_cast<std::uint8_t>(std::uint64_t{value} >> (8 * index));
  putBytes(bytes);
}

void ByteWriter::put(std::uint8_t value) {
  data_.push_back(value);
}
void ByteWriter::put(std::uint16_t value) {
  putLittleEndian(value);
}
void ByteWriter::put(std::uint32_t value) {
  putLittleEndian(value);
}
void ByteWriter::put(std::uint64_t value) {
  putLittleEndian(value);
}
void ByteWriter::put(std::int32_t value) {
  putLittleEndian(std::bit_cast<std::uint32_t>(value));
}
void ByteWriter::put(float value) {
  putLittleEndian(std::bit_cast<std::uint32_t>(value));
}
void ByteWriter::put(double value) {
  putLittleEndian(std::bit_cast<std::uint64_t>(value));
}
void ByteWriter::put(bool value) {
  data_.push_back(value ? 0x01 : 0x00);
}
void ByteWriter::put(const UUID& value) {
  putBytes(value.bytes);
}
void ByteWriter::putBytes(ByteView bytes) {
  data_.insert(data_.end(), bytes.begin(), bytes.end());
}

void ByteWriter::putBlob(ByteView bytes) {
  QUORL_CHECK(bytes.size() <= std::numeric_limits<std::uint32_t>::max(), "a blob's length fits in 32 bits");
  put(static_cast<std::uint32_t>(bytes.size()));
  putBytes(bytes);
}

void ByteWriter::putString(std::string_view text) {
  putBlob(viewOf(text));
}

ByteReader::Result<ByteView> ByteReader::bytes(std::size_t count) {
  if (remaining() < count) return std::unexpected(ReadError::underflow);
  const ByteView taken = data_.subspan(offset_, count);
  offset_ += count;
  return taken;
}

template <class Unsigned>
ByteReader::Result<Unsigned> ByteReader::littleEndian() {
  const auto taken = bytes(sizeof(Unsigned));
  if (!taken) return std::unexpected(taken.error());
  std::uint64_t value = 0;
  for (std::size_t index = 0; index < sizeof(Unsigned); ++index)
    value |= std::uint64_t{(*taken)[index]} << (8 * index);
  return static_cast<Unsigned>(value);
}

ByteReader::Result<std::uint8_t> ByteReader::u8() {
  return littleEndian<std::uint8_t>();
}
ByteReader::Result<std::uint16_t> ByteReader::u16() {
  return littleEndian<std::uint16_t>();
}
ByteReader::Result<std::uint32_t> ByteReader::u32() {
  return littleEndian<std::uint32_t>();
}
ByteReader::Result<std::uint64_t> ByteReader::u64() {
  return littleEndian<std::uint64_t>();
}

ByteReader::Result<std::int32_t> ByteReader::i32() {
  const auto bits = u32();
  if (!bits) return std::unexpected(bits.error());
  return std::bit_cast<std::int32_t>(*bits);
}

ByteReader::Result<float> ByteReader::f32() {
  const auto bits = u32();
  if (!bits) return std::unexpected(bits.error());
  return std::bit_cast<float>(*bits);
}

ByteReader::Result<double> ByteReader::f64() {
  const auto bits = u64();
  if (!bits) return std::unexpected(bits.error());
  return std::bit_cast<double>(*bits);
}

ByteReader::Result<bool> ByteReader::boolean() {
  const auto byte = u8();
  if (!byte) return std::unexpected(byte.error());
  return *byte != 0;
}

ByteReader::Result<UUID> ByteReader::uuid() {
  const auto taken = bytes(16);
  if (!taken) return std::unexpected(taken.error());
  UUID id;
  std::ranges::copy(*taken, id.bytes.begin());
  return id;
}

ByteReader::Result<ByteView> ByteReader::blob() {
  const auto length = u32();
  if (!length) return std::unexpected(length.error());
  return bytes(*length);
}

ByteReader::Result<std::string> ByteReader::string() {
  const auto body = blob();
  if (!body) return std::unexpected(body.error());
  if (!isValidUTF8(textViewOf(*body))) return std::unexpected(ReadError::badValue);
  return textOf(*body);
}

ByteView ByteReader::rest() {
  const ByteView taken = data_.subspan(offset_);
  offset_ = data_.size();
  return taken;
}

}  // namespace quorl
