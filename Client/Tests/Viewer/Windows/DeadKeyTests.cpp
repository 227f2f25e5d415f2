// SPDX-License-Identifier: GPL-3.0-or-later
// Keys of a layout with dead keys, which the toolkit's Compose table turns into characters.
#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

class WindowDeadKeyTest : public WindowTest {
 protected:
  void SetUp() override {
    desktop().run({"setxkbmap", "us", "-variant", "intl"});
    open();
    ASSERT_TRUE(hasPicture());
  }
  ~WindowDeadKeyTest() override { desktop().run({"setxkbmap", "us"}); }

  void setTextMode() {
    action("Send text instead of keys")->trigger();
    ASSERT_TRUE(spinUntil([&] {
      return window_->view().hasFocus() && window_->view().testAttribute(Qt::WA_InputMethodEnabled);
    }));
  }
  std::string typed() const {
    std::string text;
    for (const auto& message : host_->messagesOf<message::InsertText>()) text += message._0;
    return text;
  }
  std::size_t keys() const {
    std::size_t count = 0;
    for (const auto& input : host_->inputs()) count += std::holds_alternative<inputEvent::Key>(input.value);
    return count;
  }
};

TEST_F(WindowDeadKeyTest, aDeadKeyAndALetterAreOneCharacterInTextMode) {
  setTextMode();
  act({"key", "dead_acute", "key", "e", "key", "dead_diaeresis", "key", "u", "key", "x"});
  ASSERT_TRUE(spinUntil([&] { return typed().ends_with("x"); })) << typed();
  EXPECT_EQ(typed(), "\u00e9\u00fcx");
  EXPECT_EQ(keys(), 0U);
}

TEST_F(WindowDeadKeyTest, aLetterOfAThirdLevelIsTypedOnceInTextMode) {
  setTextMode();
  act({"key", "ssharp", "key", "x"});
  ASSERT_TRUE(spinUntil([&] { return typed().ends_with("x"); })) << typed();
  EXPECT_EQ(typed(), "\u00dfx");
}

TEST_F(WindowDeadKeyTest, keyModeSendsBothKeysAndNoCharacter) {
  act({"key", "dead_acute", "key", "e"});
  ASSERT_TRUE(spinUntil([&] { return keys() == 4 && heldAt(*host_) == 0; })) << keys();
  EXPECT_EQ(typed(), "");
}

}  // namespace
}  // namespace quorl::viewer::test
