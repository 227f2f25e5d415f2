// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/InputEvents.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

const Bytes pointerBytes{0x01,                     // tag
                         0x04, 0x03, 0x02, 0x01,   // streamID
                         0x02,                     // phase
                         0x01,                     // button
                         0x00, 0x00, 0x00, 0x3F,   // x
                         0x00, 0x00, 0x80, 0x3E,   // y
                         0x02,                     // clickCount
                         0x00, 0x00, 0x80, 0x3F,   // pressure
                         0x06, 0x00, 0x00, 0x00};  // modifiers
const Bytes scrollBytes{0x02,                      // tag
                        0x07, 0x00, 0x00, 0x00,    // streamID
                        0x00, 0x00, 0x00, 0x3F,    // x
                        0x00, 0x00, 0x80, 0x3E,    // y
                        0x00, 0x00, 0x20, 0xC1,    // deltaX
                        0x00, 0x00, 0x40, 0x40,    // deltaY
                        0x01,                      // precise
                        0x04,                      // momentumPhase
                        0x10, 0x00, 0x00, 0x00};   // modifiers
const Bytes magnifyBytes{0x03,                     // tag
                         0x07, 0x00, 0x00, 0x00,   // streamID
                         0x00, 0x00, 0x00, 0x3F,   // x
                         0x00, 0x00, 0x80, 0x3E,   // y
                         0x00, 0x00, 0x00, 0xBF,   // magnification
                         0x09};                    // phase
const Bytes keyBytes{0x04,                         // tag
                     0x24, 0x00,                   // keyCode
                     0x01,                         // down
                     0x08, 0x00, 0x00, 0x00};      // modifiers

const InputEvent pointer = inputEvent::Pointer{0x01020304,
                                               PointerPhase::up,
                                               PointerButton::right,
                                               0.5F,
                                               0.25F,
                                               2,
                                               1.0F,
                                               WireModifiers::shift | WireModifiers::control};
const InputEvent scroll = inputEvent::Scroll{7, 0.5F, 0.25F, -10.0F, 3.0F, true, 4, WireModifiers::command};
const InputEvent magnify = inputEvent::Magnify{7, 0.5F, 0.25F, -0.5F, 9};
const InputEvent key = inputEvent::Key{0x24, true, WireModifiers::option};

TEST(InputEvent, hasTheFieldsOfEveryCaseAtTheirOffsets) {
  EXPECT_EQ(pointer.encoded(), pointerBytes);
  EXPECT_EQ(scroll.encoded(), scrollBytes);
  EXPECT_EQ(magnify.encoded(), magnifyBytes);
  EXPECT_EQ(key.encoded(), keyBytes);
  EXPECT_EQ(InputEvent::decode(pointerBytes), pointer);
  EXPECT_EQ(InputEvent::decode(scrollBytes), scroll);
  EXPECT_EQ(InputEvent::decode(magnifyBytes), magnify);
  EXPECT_EQ(InputEvent::decode(keyBytes), key);
}

TEST(InputEvent, hasSizes24And27And18And8) {
  EXPECT_EQ(pointer.encoded().size(), 24U);
  EXPECT_EQ(scroll.encoded().size(), 27U);
  EXPECT_EQ(magnify.encoded().size(), 18U);
  EXPECT_EQ(key.encoded().size(), 8U);
}

TEST(InputEvent, failsWithBadValueOnlyForAnUnknownTag) {
  EXPECT_EQ(InputEvent::decode(Bytes{0x05}), std::unexpected(ReadError::badValue));
  EXPECT_EQ(InputEvent::decode(Bytes{0x00}), std::unexpected(ReadError::badValue));
  EXPECT_EQ(InputEvent::decode(Bytes{0xFF}), std::unexpected(ReadError::badValue));
}

TEST(InputEvent, failsWithUnderflowForATagOnlyAndForNoBytes) {
  EXPECT_EQ(InputEvent::decode(Bytes{0x01}), std::unexpected(ReadError::underflow));
  EXPECT_EQ(InputEvent::decode({}), std::unexpected(ReadError::underflow));
}

TEST(InputEvent, failsWithUnderflowWhereverItIsCut) {
  for (const Bytes& bytes : {pointerBytes, scrollBytes, magnifyBytes, keyBytes})
    for (std::size_t size = 1; size < bytes.size(); ++size)
      EXPECT_EQ(InputEvent::decode(ByteView(bytes).first(size)), std::unexpected(ReadError::underflow))
          << size;
}

TEST(InputEvent, readsAnUnknownPhaseAsMovedAndAnUnknownButtonAsLeft) {
  Bytes bytes = pointerBytes;
  bytes[5] = 4;
  bytes[6] = 9;
  const auto event = InputEvent::decode(bytes);
  ASSERT_TRUE(event);
  const auto& held = std::get<inputEvent::Pointer>(event->value);
  EXPECT_EQ(held.phase, PointerPhase::moved);
  EXPECT_EQ(held.button, PointerButton::left);
  EXPECT_EQ(InputEvent::decode(ByteView(bytes).first(23)), std::unexpected(ReadError::underflow));
}

TEST(InputEvent, readsEveryKnownPhaseAndButton) {
  for (const std::uint8_t value : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
    Bytes bytes = pointerBytes;
    bytes[5] = value;
    bytes[6] = value;
    const auto event = InputEvent::decode(bytes);
    ASSERT_TRUE(event);
    const auto& held = std::get<inputEvent::Pointer>(event->value);
    EXPECT_EQ(static_cast<std::uint8_t>(held.phase), value);
    EXPECT_EQ(static_cast<std::uint8_t>(held.button), value == 3 ? 0 : value);
  }
}

TEST(InputEvent, readsABooleanByteOf7FAsTrueAndWritesItAsOne) {
  Bytes bytes = keyBytes;
  bytes[3] = 0x7F;
  const auto event = InputEvent::decode(bytes);
  ASSERT_TRUE(event);
  EXPECT_TRUE(std::get<inputEvent::Key>(event->value).down);
  EXPECT_EQ(event->encoded(), keyBytes);
}

TEST(InputEvent, ignoresBytesAfterTheLastField) {
  Bytes bytes = keyBytes;
  bytes.push_back(0xEE);
  EXPECT_EQ(InputEvent::decode(bytes), key);
}

TEST(WireModifiers, surviveARoundTripWithUnknownBits) {
  const InputEvent event = inputEvent::Key{1, false, {0x40}};
  EXPECT_EQ(InputEvent::decode(event.encoded()), event);
}

TEST(WireModifiers, haveTheirBits) {
  EXPECT_EQ(WireModifiers::capsLock.rawValue, 0x01U);
  EXPECT_EQ(WireModifiers::shift.rawValue, 0x02U);
  EXPECT_EQ(WireModifiers::control.rawValue, 0x04U);
  EXPECT_EQ(WireModifiers::option.rawValue, 0x08U);
  EXPECT_EQ(WireModifiers::command.rawValue, 0x10U);
  EXPECT_EQ(WireModifiers::function.rawValue, 0x20U);
}

}  // namespace
}  // namespace quorl
