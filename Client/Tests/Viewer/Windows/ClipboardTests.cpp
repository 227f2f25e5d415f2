// SPDX-License-Identifier: GPL-3.0-or-later
// With real programs that own the clipboard and ask for it.
#include <csignal>
#include <fstream>
#include <sstream>

#include <QAction>
#include <QBuffer>
#include <QClipboard>
#include <QGuiApplication>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

ControlMessage textFromHost(std::string text) {
  return message::Clipboard{{ClipboardContent(clipboardContent::Text{std::move(text)})}};
}

Bytes pngOf(int side, bool hasNoise) {
  QImage image(side, side, QImage::Format_RGB32);
  std::uint32_t state = 1;
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      state = state * 1'664'525 + 1'013'904'223;
      image.setPixel(x, y, hasNoise ? 0xFF000000U | (state >> 8) : 0xFF336699U);
    }
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return Bytes(buffer.data().begin(), buffer.data().end());
}

class WindowClipboardTest : public WindowTest {
 protected:
  void SetUp() override {
    desktop().run({"sh", "-c", "xsel -bc; xsel -pc"});
    open();
    ASSERT_TRUE(hasPicture());
    // The link asks for the clipboard when it connects.
    ASSERT_TRUE(spinUntil([&] { return countOf<message::RequestClipboard>() == 1; }));
  }

  std::string writeFile(const std::string& name, ByteView content) const {
    const auto path = (folder_.path() / name).string();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    return path;
  }
  /// A program that owns a selection until it ends.
  HelperProgram copy(const std::string& text, const std::string& selection = "-b") const {
    const auto file = writeFile("copied", viewOf(text));
    return desktop().start({"sh", "-c", "exec xsel " + selection + " -i --nodetach < " + file});
  }
  HelperProgram copyPicture(const Bytes& png) const {
    const auto file = writeFile("copied.png", png);
    return desktop().start({"xclip", "-selection", "clipboard", "-t", "image/png", "-quiet", "-i", file});
  }
  /// What a program gets that pastes. The window answers meanwhile.
  std::string paste(const std::string& command) {
    const auto path = (folder_.path() / "pasted").string();
    std::filesystem::remove(path);
    const auto program =
        desktop().start({"sh", "-c", command + " > " + path + ".new; mv " + path + ".new " + path});
    if (!spinUntil([&] { return std::filesystem::exists(path); })) return "nothing was pasted";
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  std::vector<ClipboardContent> sent() const {
    std::vector<ClipboardContent> contents;
    for (const auto& message : host_->messagesOf<message::Clipboard>())
      contents.push_back(message._0.content);
    return contents;
  }
  /// Whether the host got more than that, within a time in which a copy arrives many times over.
  bool sendsMoreThan(std::size_t count) {
    return spinUntil([&] { return sent().size() > count; }, 700ms);
  }
};

TEST_F(WindowClipboardTest, aCopyHereIsOneMessageToTheHost) {
  const auto program = copy("héllo 世界\nsecond line");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  EXPECT_EQ(sent()[0], ClipboardContent(clipboardContent::Text{"héllo 世界\nsecond line"}));
  EXPECT_FALSE(sendsMoreThan(1));
}

TEST_F(WindowClipboardTest, aManagerThatTakesOverTheSameTextCausesNoMessage) {
  auto program = copy("kept by the manager");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  const auto manager = copy("kept by the manager");
  program.wait();
  EXPECT_FALSE(sendsMoreThan(1));
  const auto next = copy("another text");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 2; }));
  EXPECT_EQ(sent()[1], ClipboardContent(clipboardContent::Text{"another text"}));
}

TEST_F(WindowClipboardTest, textOfTheHostIsPastedHereAndNotSentBackByAManager) {
  host_->push(textFromHost("from the host é"));
  ASSERT_TRUE(spinUntil([&] { return paste("xsel -b -o") == "from the host é"; }));
  EXPECT_EQ(paste("xclip -selection clipboard -o"), "from the host é");
  const auto manager = copy("from the host é");
  EXPECT_FALSE(sendsMoreThan(0));
  EXPECT_EQ(paste("xsel -b -o"), "from the host é");
  EXPECT_EQ(paste("xsel -p -o"), "") << "it never becomes what is marked";
}

TEST_F(WindowClipboardTest, whatIsMarkedIsSentOnRequestOnly) {
  const auto program = copy("marked", "-p");
  EXPECT_FALSE(sendsMoreThan(0));
  action("Send what is marked here")->trigger();
  const auto later = copy("marked later", "-p");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  EXPECT_EQ(sent()[0], ClipboardContent(clipboardContent::Text{"marked later"}));
}

TEST_F(WindowClipboardTest, aSmallPictureGoesBothWays) {
  const Bytes png = pngOf(40, false);
  {
    const auto program = copyPicture(png);
    ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
    EXPECT_EQ(sent()[0], ClipboardContent(clipboardContent::Image{png}));
    EXPECT_FALSE(sendsMoreThan(1));
  }
  const Bytes other = pngOf(50, true);
  host_->push(message::Clipboard{{ClipboardContent(clipboardContent::Image{other})}});
  ASSERT_TRUE(
      spinUntil([&] { return paste("xclip -selection clipboard -t image/png -o") == textViewOf(other); }));
}

TEST_F(WindowClipboardTest, aLargePictureHasAConnectionOfItsOwn) {
  const Bytes png = pngOf(600, true);
  ASSERT_GT(png.size(), 1'000'000U);
  const auto program = copyPicture(png);
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  EXPECT_EQ(sent()[0], ClipboardContent(clipboardContent::Image{png}));
  EXPECT_EQ(host_->connections(), 2);
  // It is confirmed, so that the next one can follow.
  const auto next = copy("after the picture");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 2; }));
}

TEST_F(WindowClipboardTest, anOwnerThatHangsDelaysTheWindowOnceAndNotForever) {
  const auto elsewhere = desktop().start({"xlogo", "-geometry", "100x100+1100+700"});
  ASSERT_TRUE(spinUntil([&] { return !window_->isActiveWindow(); }));
  const auto slow = copy("slow");
  ASSERT_TRUE(spinUntil([&] { return QGuiApplication::clipboard()->text() == "slow"; }));
  ::kill(slow.pid(), SIGSTOP);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(activate());
  act({"key", "b"});
  EXPECT_TRUE(spinUntil([&] { return !host_->inputs().empty() && heldAt(*host_) == 0; }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 8s);
  EXPECT_TRUE(sent().empty());
  const auto next = copy("next");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  EXPECT_EQ(sent()[0], ClipboardContent(clipboardContent::Text{"next"}));
}

TEST_F(WindowClipboardTest, aDamagedPictureOfTheHostChangesNothing) {
  const auto program = copy("mine");
  ASSERT_TRUE(spinUntil([&] { return sent().size() == 1; }));
  host_->push(message::Clipboard{{ClipboardContent(clipboardContent::Image{client::test::samplePNG()})}});
  EXPECT_FALSE(sendsMoreThan(1));
  EXPECT_EQ(paste("xsel -b -o"), "mine");
}

}  // namespace
}  // namespace quorl::viewer::test
