// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

namespace {

enum class Tag : std::uint8_t { pointer = 1, scroll = 2, magnify = 3, key = 4 };

constexpr std::size_t longestEvent = 27;

void put(ByteWriter& writer, const inputEvent::Pointer& event) {
  writer.put(static_cast<std::uint8_t>(Tag::pointer));
  writer.put(event.streamID);
  writer.put(static_cast<std::uint8_t>(event.phase));
  writer.put(static_cast<std::uint8_t>(event.button));
  writer.put(event.x);
  writer.put(event.y);
  writer.put(event.clickCount);
  writer.put(event.pressure);
  writer.put(event.modifiers.rawValue);
}

void put(ByteWriter& writer, const inputEvent::Scroll& event) {
  writer.put(static_cast<std::uint8_t>(Tag::scroll));
  writer.put(event.streamID);
  writer.put(event.x);
  writer.put(event.y);
  writer.put(event.deltaX);
  writer.put(event.deltaY);
  writer.put(event.precise);
  writer.put(event.momentumPhase);
  writer.put(event.modifiers.rawValue);
}

void put(ByteWriter& writer, const inputEvent::Magnify& event) {
  writer.put(static_cast<std::uint8_t>(Tag::magnify));
  writer.put(event.streamID);
  writer.put(event.x);
  writer.put(event.y);
  writer.put(event.magnification);
  writer.put(event.phase);
}

void put(ByteWriter& writer, const inputEvent::Key& event) {
  writer.put(static_cast<std::uint8_t>(Tag::key));
  writer.put(event.keyCode);
  writer.put(event.down);
  writer.put(event.modifiers.rawValue);
}

PointerPhase phaseOf(std::uint8_t byte) {
  const auto phase = static_cast<PointerPhase>(byte);
  switch (phase) {
    case PointerPhase::down:
    case PointerPhase::moved:
    case PointerPhase::up:
    case PointerPhase::hover:
      return phase;
  }
  return PointerPhase::moved;
}

PointerButton buttonOf(std::uint8_t byte) {
  const auto button = static_cast<PointerButton>(byte);
  switch (button) {
    case PointerButton::left:
    case PointerButton::right:
    case PointerButton::middle:
      return button;
  }
  return PointerButton::left;
}

// Reads field after field; `isComplete` returns at the end whether all were present.
class Fields {
 public:
  explicit Fields(ByteReader& reader) : reader_(reader) {}

  template <class Value>
  Value take(ByteReader::Result<Value> (ByteReader::*read)()) {
    const auto value = (reader_.*read)();
    isComplete_ = isComplete_ && value.has_value();
    return value.value_or(Value{});
  }
  std::uint8_t u8() { return take(&ByteReader::u8); }
  std::uint16_t u16() { return take(&ByteReader::u16); }
  std::uint32_t u32() { return take(&ByteReader::u32); }
  float f32() { return take(&ByteReader::f32); }
  bool boolean() { return take(&ByteReader::boolean); }

  bool isComplete() const { return isComplete_; }

 private:
  ByteReader& reader_;
  bool isComplete_ = true;
};

// Members of a braced initialiser are evaluated in order.
InputEvent::Value valueOf(Tag tag, Fields& fields) {
  switch (tag) {
    case Tag::pointer:
      return inputEvent::Pointer{fields.u32(), phaseOf(fields.u8()), buttonOf(fields.u8()), fields.f32(),
                                 fields.f32(), fields.u8(),          fields.f32(),          {fields.u32()}};
    case Tag::scroll:
      return inputEvent::Scroll{fields.u32(), fields.f32(),     fields.f32(), fields.f32(),
                                fields.f32(), fields.boolean(), fields.u8(),  {fields.u32()}};
    case Tag::magnify:
      return inputEvent::Magnify{fields.u32(), fields.f32(), fields.f32(), fields.f32(), fields.u8()};
    case Tag::key:
      return inputEvent::Key{fields.u16(), fields.boolean(), {fields.u32()}};
  }
  return {};
}

}  // namespace

Bytes InputEvent::encoded() const {
  ByteWriter writer(longestEvent);
  std::visit([&writer](const auto& event) { put(writer, event); }, value);
  return writer.take();
}

std::expected<InputEvent, ReadError> InputEvent::decode(ByteView bytes) {
  ByteReader reader(bytes);
  const auto tag = reader.u8();
  if (!tag) return std::unexpected(tag.error());
  if (*tag < static_cast<std::uint8_t>(Tag::pointer) || *tag > static_cast<std::uint8_t>(Tag::key))
    return std::unexpected(ReadError::badValue);
  Fields fields(reader);
  InputEvent event(valueOf(static_cast<Tag>(*tag), fields));
  if (!fields.isComplete()) return std::unexpected(ReadError::underflow);
  return event;
}

}  // namespace quorl
