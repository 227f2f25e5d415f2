// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;

class InputCommandTest : public testing::Test {
 protected:
  InputCommandTest() { run_.addHost(host_.pairedHost()); }

  FakeHost host_{{.contentRect = {{100, 50}, {400, 200}}}};
  CommandRun run_;
};

TEST_F(InputCommandTest, clicksAtPointsOfTheTarget) {
  const auto result = run_({"click", "100", "50"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  inputEvent::Pointer pointer{1, PointerPhase::hover, PointerButton::left, 0.25F, 0.25F, 0, 0, {}};
  std::vector<InputEvent> expected{pointer};
  pointer.clickCount = 1;
  pointer.phase = PointerPhase::down;
  expected.emplace_back(pointer);
  pointer.phase = PointerPhase::up;
  expected.emplace_back(pointer);
  EXPECT_EQ(host_.inputs(), expected);
  EXPECT_EQ(host_.messagesOf<message::StopStream>().size(), 1U);
}

TEST_F(InputCommandTest, doubleClicksWithAnotherButtonAtANormalisedPosition) {
  ASSERT_EQ(
      run_({"click", "1", "0.5", "--normalized", "--button", "right", "--count", "2", "--window", "9"}).code,
      ExitCode::ok);
  const auto events = host_.inputs();
  ASSERT_EQ(events.size(), 5U);
  const auto& last = std::get<inputEvent::Pointer>(events[4].value);
  EXPECT_EQ(last.button, PointerButton::right);
  EXPECT_EQ(last.clickCount, 2);
  EXPECT_EQ(last.x, 1.0F);
  EXPECT_EQ(last.y, 0.5F);
  EXPECT_EQ(host_.messagesOf<message::StartStream>().at(0)._0.target, StreamTarget(streamTarget::Window{9}));
}

TEST_F(InputCommandTest, refusesAPositionOutsideTheTarget) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"click", "401", "0"},
                                                {"click", "-1", "0"},
                                                {"click", "1.01", "0", "--normalized"}}) {
    const auto result = run_(words);
    EXPECT_EQ(result.code, ExitCode::usage);
    EXPECT_NE(result.notes.find("outside"), std::string::npos);
  }
  EXPECT_TRUE(host_.inputs().empty());
}

TEST_F(InputCommandTest, scrollsInTheMiddleByDefault) {
  ASSERT_EQ(run_({"scroll", "0", "-3"}).code, ExitCode::ok);
  ASSERT_EQ(run_({"scroll", "1.5", "120", "--precise", "--at", "300,200"}).code, ExitCode::ok);
  const std::vector<InputEvent> expected{inputEvent::Scroll{1, 0.5F, 0.5F, 0, -3, false, 0, {}},
                                         inputEvent::Scroll{1, 0.75F, 1, 1.5F, 120, true, 0, {}}};
  EXPECT_EQ(host_.inputs(), expected);
  EXPECT_EQ(run_({"scroll", "0", "1", "--at", "3"}).code, ExitCode::usage);
}

TEST_F(InputCommandTest, typesAnyText) {
  ASSERT_EQ(run_({"type", "Grüße 🙂"}).code, ExitCode::ok);
  EXPECT_EQ(host_.messagesOf<message::InsertText>().at(0)._0, "Grüße 🙂");
}

TEST_F(InputCommandTest, typesStandardInput) {
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  const Descriptor reader(ends[0]);
  {
    const Descriptor writer(ends[1]);
    ASSERT_EQ(::write(writer.get(), "two\nlines", 9), 9);
  }
  run_.inputDescriptor = reader.get();
  ASSERT_EQ(run_({"type", "-"}).code, ExitCode::ok);
  EXPECT_EQ(host_.messagesOf<message::InsertText>().at(0)._0, "two\nlines");
}

TEST_F(InputCommandTest, pressesKeysInOrder) {
  ASSERT_EQ(run_({"key", "a+command", "return"}).code, ExitCode::ok);
  const auto command = WireModifiers::command;
  const std::vector<InputEvent> expected{
      inputEvent::Key{55, true, command}, inputEvent::Key{0, true, command},
      inputEvent::Key{0, false, command}, inputEvent::Key{55, false, {}},
      inputEvent::Key{36, true, {}},      inputEvent::Key{36, false, {}}};
  EXPECT_EQ(host_.inputs(), expected);
  EXPECT_EQ(run_({"key", "nokey"}).code, ExitCode::usage);
}

TEST_F(InputCommandTest, failsWhenTheHostMayNotInject) {
  test::HostBehaviour behaviour;
  behaviour.inputError = WireError{"perm.accessibility", "Grant Accessibility"};
  host_.setBehaviour(behaviour);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"key", "return"}, {"type", "x"}, {"click", "1", "1"}}) {
    const auto result = run_(words);
    EXPECT_EQ(result.code, ExitCode::failure);
    EXPECT_NE(result.notes.find("Grant Accessibility"), std::string::npos) << result.notes;
  }
}

TEST_F(InputCommandTest, failsWhenTheTargetIsNotThere) {
  test::HostBehaviour behaviour;
  behaviour.streamError = WireError{"stream.target", "stream 1: window 9 not found"};
  host_.setBehaviour(behaviour);
  const auto result = run_({"click", "1", "1", "--window", "9"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("window 9 not found"), std::string::npos);
}

}  // namespace
}  // namespace quorl::client
