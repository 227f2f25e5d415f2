// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>

#include <QBuffer>
#include <QLabel>
#include <QListWidget>

#include <quorl-viewer/Windows/TargetDelegate.h>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

Bytes iconOf(Qt::GlobalColor colour) {
  QImage image(32, 32, QImage::Format_RGB32);
  image.fill(colour);
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return Bytes(buffer.data().begin(), buffer.data().end());
}

HostState severalWindows() {
  HostState state = client::test::sampleState();
  state.displays.push_back({2, "Projector", 1920, 1080, 1, false});
  state.windows = {{77, "Letter to Ada", "org.example.editor", "Editor", {{10, 20}, {300, 200}}, true},
                   {78, "build: make -j8", "org.example.terminal", "Terminal", {{0, 0}, {640, 480}}, true},
                   {79, "Inbox (3)", "org.example.mail", "Mail", {{0, 0}, {640, 480}}, true}};
  state.apps = {{"org.example.editor", "Editor", 321, 1, iconOf(Qt::darkGreen)},
                {"org.example.terminal", "Terminal", 322, 1, iconOf(Qt::darkBlue)},
                {"org.example.mail", "Mail", 323, 1, iconOf(Qt::darkRed)}};
  return state;
}

AgentDescriptor agent(char digit, std::string name, AgentStatus status) {
  return {.id = *UUID::parse(std::string("00000000-0000-4000-8000-00000000000") + digit),
          .name = std::move(name),
          .detail = "claude",
          .status = status,
          .projectPath = "/home/ada/engine"};
}

class WindowTargetTest : public WindowTest {
 protected:
  static HostBehaviour withWindows() {
    auto behaviour = ordinary();
    behaviour.hostState = severalWindows();
    return behaviour;
  }
  void openWithList() {
    open(withWindows());
    ASSERT_TRUE(hasPicture());
    host_->push(ControlMessage(message::AgentList{
        {agent('1', "refactor", AgentStatus::running), agent('2', "review", AgentStatus::waitingInput)}}));
    ASSERT_TRUE(spinUntil(
        [&] { return part<TargetButton>().accessibleDescription().contains("one agent waits for you"); }));
  }
  // Of the picture, or of the thumbnails.
  std::vector<StartStream> starts(bool ofThumbnails = false) const {
    std::vector<StartStream> found;
    for (const auto& start : host_->messagesOf<message::StartStream>())
      if ((start._0.config.maxDimension < 1'000) == ofThumbnails) found.push_back(start._0);
    return found;
  }
  StreamTarget lastTarget() const { return starts().back().target; }
  QString overlayTitle() const {
    const auto* label = window_->findChild<QLabel*>(QStringLiteral("overlayTitle"));
    return label->isVisible() ? label->text() : QString();
  }
  TargetPopup& popup() const { return part<TargetPopup>(); }
};

TEST_F(WindowTargetTest, aKeyOpensTheListTypingFiltersItAndReturnSwitches) {
  openWithList();
  act({"key", "ctrl+alt+shift+t"});
  ASSERT_TRUE(spinUntil([&] { return popup().isVisible(); }));
  screenshot("targets");
  act({"type", "lett"});
  const auto* list = popup().findChild<QListWidget*>();
  ASSERT_TRUE(spinUntil(
      [&] { return list->currentItem() != nullptr && list->currentItem()->text() == "Letter to Ada"; }));
  screenshot("filtered");
  act({"key", "Return"});
  ASSERT_TRUE(spinUntil([&] { return starts().size() == 2; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Window{77}));
  EXPECT_EQ(host_->connections(), 1) << "the session stays";
  EXPECT_FALSE(popup().isVisible());
  EXPECT_TRUE(spinUntil([&] { return window_->view().hasFocus(); }));
  EXPECT_EQ(window_->windowTitle(), QStringLiteral("Letter to Ada, Fake host"));
  EXPECT_EQ(window_->windowIcon().pixmap(32, 32).toImage().pixelColor(10, 10), QColor(Qt::darkGreen));
  EXPECT_TRUE(host_->inputs().empty() || heldAt(*host_) == 0);
}

TEST_F(WindowTargetTest, windowsInTheListHaveLivePicturesWhileItIsOpen) {
  openWithList();
  act({"key", "ctrl+alt+shift+t"});
  const auto pictures = [&] {
    int found = 0;
    const auto* list = popup().findChild<QListWidget*>();
    for (int row = 0; row < list->count(); ++row)
      if (!list->item(row)->data(TargetDelegate::thumbnailRole).value<QImage>().isNull()) ++found;
    return found;
  };
  ASSERT_TRUE(spinUntil([&] { return pictures() == 3; })) << pictures();
  screenshot("thumbnails");
  const auto small = starts(true);
  ASSERT_EQ(small.size(), 3U);
  for (const auto& start : small) {
    EXPECT_TRUE(std::holds_alternative<streamTarget::Window>(start.target));
    EXPECT_FALSE(start.clientPointWidth) << "the window keeps its shape";
  }
  EXPECT_EQ(countOf<message::StopStream>(), 0U);
  act({"type", "inbox"});
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StopStream>() == 2; }))
      << "the rows that are filtered out";
  act({"key", "Escape"});
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StopStream>() == 3; }));
  EXPECT_EQ(starts().size(), 1U) << "the picture goes on";
}

TEST_F(WindowTargetTest, theArrowKeysPassHeadingsAndEscapeChangesNothing) {
  openWithList();
  act({"key", "ctrl+alt+shift+t"});
  ASSERT_TRUE(spinUntil([&] { return popup().isVisible(); }));
  const auto* list = popup().findChild<QListWidget*>();
  act({"key", "Down", "Down"});
  ASSERT_TRUE(spinUntil([&] {
    return list->currentItem() != nullptr && list->currentItem()->text() == "Letter to Ada";
  })) << list->currentItem()->text().toStdString();
  act({"key", "Escape"});
  ASSERT_TRUE(spinUntil([&] { return !popup().isVisible(); }));
  EXPECT_EQ(starts().size(), 1U);
}

TEST_F(WindowTargetTest, aWindowThatIsNotThereYetIsShownWhenItAppears) {
  auto behaviour = withWindows();
  host_ = std::make_unique<FakeHost>(behaviour);
  paired_ = host_->pairedHost();
  openWindow({.target = {}, .wanted = viewTarget::Window{"Later <i>on</i>"}, .folder = {}});
  ASSERT_TRUE(spinUntil([&] {
    return overlayTitle() == QStringLiteral("The host has no window \u201CLater <i>on</i>\u201D now");
  })) << overlayTitle().toStdString();
  screenshot("waiting");
  EXPECT_EQ(countOf<message::StartStream>(), 0U);
  auto state = severalWindows();
  state.windows.push_back({90, "Later <i>on</i>", "org.example.editor", "Editor", {{0, 0}, {64, 48}}, true});
  host_->push(ControlMessage(message::HostState{state}));
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 1; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Window{90}));
  EXPECT_TRUE(spinUntil([&] { return overlayTitle().isEmpty(); }));
}

TEST_F(WindowTargetTest, anIconThatIsNoSmallPictureIsLeftOut) {
  auto behaviour = withWindows();
  behaviour.hostState->apps[0].iconPNG = client::test::samplePNG();
  open(behaviour, {.target = streamTarget::Window{77}, .wanted = {}, .folder = {}});
  EXPECT_TRUE(spinUntil([&] { return window_->windowTitle().startsWith("Letter"); }));
}

TEST_F(WindowTargetTest, aKeyOpensTheTerminalOfTheAgentThatWaits) {
  const auto record = folder_.path() / "arguments";
  const auto terminal = folder_.path() / "x-terminal-emulator";
  std::ofstream(terminal) << "#!/bin/sh\nfor word in \"$@\"; do echo \"$word\"; done > " << record.string()
                          << ".new\nmv " << record.string() << ".new " << record.string() << "\n";
  std::filesystem::permissions(terminal, std::filesystem::perms::owner_all);
  std::ofstream(folder_.path() / "quorl_client") << "#!/bin/sh\n";
  std::filesystem::permissions(folder_.path() / "quorl_client", std::filesystem::perms::owner_all);
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", QByteArray::fromStdString(folder_.path().string()) + ":" + path);
  openWithList();
  act({"key", "ctrl+alt+shift+a"});
  const bool hasStarted = spinUntil([&] { return std::filesystem::exists(record); });
  qputenv("PATH", path);
  ASSERT_TRUE(hasStarted);
  std::ifstream file(record);
  std::vector<std::string> words;
  for (std::string line; std::getline(file, line);) words.push_back(line);
  ASSERT_EQ(words.size(), 6U);
  EXPECT_EQ(words[0], "-e");
  EXPECT_TRUE(words[1].ends_with("/quorl_client"));
  EXPECT_EQ(words[2], "attach");
  EXPECT_EQ(words[3], "00000000-0000-4000-8000-000000000002");
  EXPECT_EQ(words[4], "--host");
  EXPECT_EQ(words[5], host_->address());
}

TEST_F(WindowTargetTest, withoutAnAgentThatWaitsTheKeySaysSo) {
  open();
  act({"key", "ctrl+alt+shift+a"});
  EXPECT_TRUE(spinUntil([&] { return shows("No agent waits for you"); }));
}

}  // namespace
}  // namespace quorl::viewer::test
