// SPDX-License-Identifier: GPL-3.0-or-later
// What the windows make of the host's data, and the programs that they start.
#include <csignal>

#include <QBuffer>
#include <QFile>

#include <quorl-viewer/Windows/DetachedProgram.h>
#include <quorl-viewer/Windows/HostIcons.h>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

Bytes pngOf(int side) {
  QImage image(side, side, QImage::Format_RGB32);
  image.fill(Qt::red);
  QByteArray encoded;
  QBuffer buffer(&encoded);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return {encoded.begin(), encoded.end()};
}

HostState stateWith(Bytes icon) {
  HostState state;
  state.apps.push_back({.bundleID = "org.example.app", .name = "App", .iconPNG = std::move(icon)});
  return state;
}

TEST(HostIcons, keepsALargeIconSmall) {
  HostIcons icons;
  EXPECT_TRUE(icons.take(stateWith(pngOf(400))));
  const auto sizes = icons.icon("org.example.app").availableSizes();
  ASSERT_EQ(sizes.size(), 1);
  EXPECT_EQ(sizes[0], QSize(64, 64));
}

TEST(HostIcons, leavesOutWhatIsNoSmallPicture) {
  HostIcons icons;
  EXPECT_FALSE(icons.take(stateWith(pngOf(600))));
  EXPECT_FALSE(icons.take(stateWith(Bytes(100, 0x55))));
  EXPECT_TRUE(icons.icon("org.example.app").isNull());
}

TEST(DetachedProgram, inheritsNoSignalsThatThisProcessBlocksOrIgnores) {
  const quorl::test::TemporaryFolder folder;
  const QString path = QString::fromStdString((folder.path() / "signals").string());
  sigset_t ending;
  sigset_t before;
  sigemptyset(&ending);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ending, number);
  ::pthread_sigmask(SIG_BLOCK, &ending, &before);
  const auto pipe = std::signal(SIGPIPE, SIG_IGN);
  const bool isStarted = startDetached(
      "sh", {"-c", "grep -E 'SigBlk|SigIgn' /proc/self/status > \"$0.new\"; mv \"$0.new\" \"$0\"", path});
  std::signal(SIGPIPE, pipe);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ASSERT_TRUE(isStarted);
  QFile file(path);
  ASSERT_TRUE(spinUntil([&] { return file.exists(); }));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), QByteArray("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"));
}

}  // namespace
}  // namespace quorl::viewer::test
