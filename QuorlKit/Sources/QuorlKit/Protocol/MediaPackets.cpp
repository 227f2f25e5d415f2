// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/MediaPackets.h>

#include <type_traits>

namespace quorl {

namespace {

ByteView viewOfData(const Bytes& data) {
  return data;
}
ByteView viewOfData(ByteView data) {
  return data;
}
ByteView viewOfData(const SharedBytes& data) {
  return data ? ByteView(*data) : ByteView();
}

void keep(Bytes& data, ByteView bytes) {
  data.assign(bytes.begin(), bytes.end());
}
void keep(ByteView& data, ByteView bytes) {
  data = bytes;
}
void keep(SharedBytes& data, ByteView bytes) {
  data = std::make_shared<const Bytes>(bytes.begin(), bytes.end());
}

template <class Packet>
Bytes encodedPacket(const Packet& packet) {
  const ByteView data = viewOfData(packet.data);
  ByteWriter writer(Packet::fixedSize + data.size());
  packet.putFixedFields(writer);
  writer.putBytes(data);
  return writer.take();
}

}  // namespace

template <class Data>
Bytes BasicVideoPacket<Data>::encoded() const {
  return encodedPacket(*this);
}

template <class Data>
void BasicVideoPacket<Data>::putFixedFields(ByteWriter& writer) const {
  writer.put(streamID);
  writer.put(flags.rawValue);
  writer.put(ptsMicros);
}

template <class Data>
std::expected<BasicVideoPacket<Data>, ReadError> BasicVideoPacket<Data>::decode(ByteView bytes) {
  ByteReader reader(bytes);
  const auto streamID = reader.u32();
  const auto flags = reader.u8();
  const auto ptsMicros = reader.u64();
  if (!streamID || !flags || !ptsMicros) return std::unexpected(ReadError::underflow);
  BasicVideoPacket packet{*streamID, {*flags}, *ptsMicros, {}};
  keep(packet.data, reader.rest());
  return packet;
}

template <class Data>
Bytes BasicAudioPacket<Data>::encoded() const {
  return encodedPacket(*this);
}

template <class Data>
void BasicAudioPacket<Data>::putFixedFields(ByteWriter& writer) const {
  writer.put(ptsMicros);
}

template <class Data>
std::expected<BasicAudioPacket<Data>, ReadError> BasicAudioPacket<Data>::decode(ByteView bytes) {
  ByteReader reader(bytes);
  const auto ptsMicros = reader.u64();
  if (!ptsMicros) return std::unexpected(ptsMicros.error());
  BasicAudioPacket packet{*ptsMicros, {}};
  keep(packet.data, reader.rest());
  return packet;
}

template <class Data>
Bytes BasicTerminalPayload<Data>::encoded() const {
  return encodedPacket(*this);
}

template <class Data>
void BasicTerminalPayload<Data>::putFixedFields(ByteWriter& writer) const {
  writer.put(agentID);
}

template <class Data>
std::expected<BasicTerminalPayload<Data>, ReadError> BasicTerminalPayload<Data>::decode(ByteView bytes) {
  ByteReader reader(bytes);
  const auto agentID = reader.uuid();
  if (!agentID) return std::unexpected(agentID.error());
  BasicTerminalPayload payload{*agentID, {}};
  keep(payload.data, reader.rest());
  return payload;
}

template <class Data>
Bytes BasicFileChunk<Data>::encoded() const {
  return encodedPacket(*this);
}

template <class Data>
void BasicFileChunk<Data>::putFixedFields(ByteWriter& writer) const {
  writer.put(transferID);
  writer.put(offset);
}

template <class Data>
std::expected<BasicFileChunk<Data>, ReadError> BasicFileChunk<Data>::decode(ByteView bytes) {
  ByteReader reader(bytes);
  const auto transferID = reader.uuid();
  const auto offset = reader.u64();
  if (!transferID || !offset) return std::unexpected(ReadError::underflow);
  BasicFileChunk chunk{*transferID, *offset, {}};
  keep(chunk.data, reader.rest());
  return chunk;
}

template struct BasicVideoPacket<Bytes>;
template struct BasicVideoPacket<ByteView>;
template struct BasicVideoPacket<SharedBytes>;
template struct BasicAudioPacket<Bytes>;
template struct BasicAudioPacket<ByteView>;
template struct BasicAudioPacket<SharedBytes>;
template struct BasicTerminalPayload<Bytes>;
template struct BasicTerminalPayload<ByteView>;
template struct BasicTerminalPayload<SharedBytes>;
template struct BasicFileChunk<Bytes>;
template struct BasicFileChunk<ByteView>;
template struct BasicFileChunk<SharedBytes>;

}  // namespace quorl
