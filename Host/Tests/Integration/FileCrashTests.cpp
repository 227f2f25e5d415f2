// SPDX-License-Identifier: GPL-3.0-or-later

// The real host is killed at any moment of a transfer.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>
#include <Support/TemporaryFolder.h>

#include "HostProcess.h"
#include "RawClient.h"

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t pieceSize = 65'536;
constexpr std::size_t pieces = 40;

class FileCrashTest : public testing::Test {
 protected:
  std::unique_ptr<HostProcess> startHost() {
    HostProcess::Settings settings;
    settings.port = freePort();
    settings.home = folder_.path();
    settings.options = {"--pin", "123456"};
    auto host = std::make_unique<HostProcess>(settings);
    EXPECT_TRUE(host->listens()) << host->program().output();
    port_ = settings.port;
    return host;
  }
  std::vector<fs::path> stored() const {
    std::vector<fs::path> found;
    if (fs::exists(folder_ / "Downloads"))
      for (const auto& entry : fs::directory_iterator(folder_ / "Downloads")) found.push_back(entry.path());
    return found;
  }
  static std::string textOfFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  TemporaryFolder folder_;
  std::uint16_t port_ = 0;
};

TEST_F(FileCrashTest, leavesNothingOrTheWholeFile) {
  std::mt19937 random(20);
  const std::string content(pieceSize * pieces, 'q');
  const SHA256Digest digest = sha256(viewOf(content));
  for (std::size_t round = 0; round < 12; ++round) {
    const auto host = startHost();
    RawClient client(port_);
    ASSERT_TRUE(client.pair("123456"));
    const UUID id = UUID::random();
    client.send(message::FileOffer{{id, "film", content.size()}});
    ASSERT_TRUE(client.next<message::FileAccept>());
    // In every third round everything is sent, so that the end falls into the moment of storing.
    const std::size_t sent = round % 3 == 0 ? pieces : random() % pieces;
    for (std::size_t piece = 0; piece < sent; ++piece) {
      const SharedFileChunk chunk{id, piece * pieceSize, shareBytes(Bytes(pieceSize, 'q'))};
      client.peer().write(OutgoingFrame::file(chunk).encoded());
    }
    if (sent == pieces) client.send(message::FileDone{{id, {digest.begin(), digest.end()}}});
    host->program().signal(SIGKILL);
    ASSERT_TRUE(host->program().waitForExit());

    for (const fs::path& path : stored()) {
      EXPECT_EQ(textOfFile(path), content) << path << " in round " << round;
      EXPECT_EQ(sent, pieces) << path << " was not complete";
      fs::remove(path);
    }
  }
}

TEST_F(FileCrashTest, aTransferThatIsConfirmedSurvives) {
  const auto host = startHost();
  RawClient client(port_);
  ASSERT_TRUE(client.pair("123456"));
  const UUID id = UUID::random();
  client.send(message::FileOffer{{id, "empty", 0}});
  ASSERT_TRUE(client.next<message::FileAccept>());
  client.send(message::FileDone{{id, {}}});
  ASSERT_TRUE(client.next<message::FileDone>());
  host->program().signal(SIGKILL);
  ASSERT_TRUE(host->program().waitForExit());
  EXPECT_EQ(stored(), (std::vector<fs::path>{folder_ / "Downloads/empty"}));
}

}  // namespace
}  // namespace quorl::test
