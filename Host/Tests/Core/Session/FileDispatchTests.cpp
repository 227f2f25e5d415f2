// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Files/FileTransfer.h>
#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr UUID transferID{{9}};
const std::string downloads = "/home/anna/Downloads";

class FileDispatchTest : public SessionFixture {
 protected:
  FileDispatchTest() : client_(connectAuthenticated()) {}

  void chunk(std::uint64_t offset, const std::string& text) {
    client_.peer->writeFrame(FrameType::file, FileChunk{transferID, offset, bytesOf(text)}.encoded());
    client_.settle();
  }
  static Bytes digestOf(const std::string& text) {
    const SHA256Digest digest = sha256(viewOf(text));
    return {digest.begin(), digest.end()};
  }
  FakeUserFiles& files() { return *platform_.userFiles; }

  FakeClient client_;
};

TEST_F(FileDispatchTest, aPushedFileIsStoredAndConfirmed) {
  client_.send(message::FileOffer{{transferID, "a.txt", 5}});
  EXPECT_EQ(client_.last<message::FileAccept>()->_0, (FileAccept{transferID, true}));
  chunk(0, "hello");
  client_.send(message::FileDone{{transferID, digestOf("hello")}});
  EXPECT_EQ(client_.last<message::FileDone>()->_0, (FileDone{transferID, digestOf("hello")}));
  EXPECT_EQ(files().text(downloads + "/a.txt"), "hello");
}

TEST_F(FileDispatchTest, aBrokenConnectionLeavesNoPartialFile) {
  client_.send(message::FileOffer{{transferID, "a.txt", 10}});
  chunk(0, "hello");
  ASSERT_EQ(*files().open, 1U);
  client_.peer->fail("connection reset");
  simulation_.runReady();
  EXPECT_EQ(*files().open, 0U);
  EXPECT_THAT(files().namesIn(downloads), IsEmpty());
}

TEST_F(FileDispatchTest, anOfferInTheSameReadAsByeIsIgnored) {
  client_.peer->send(message::Bye{});
  client_.peer->send(message::FileOffer{{transferID, "a.txt", 10}});
  client_.settle();
  EXPECT_EQ(*files().open, 0U);
}

TEST_F(FileDispatchTest, chunksBeforeAuthenticationAreIgnored) {
  FakeClient stranger = connect();
  stranger.peer->writeFrame(FrameType::file, FileChunk{transferID, 0, bytesOf("x")}.encoded());
  stranger.settle();
  EXPECT_FALSE(stranger.peer->isClosedByHost());
  EXPECT_THAT(stranger.received, IsEmpty());
}

TEST_F(FileDispatchTest, aChunkThatCannotBeDecodedIsIgnored) {
  client_.peer->writeFrame(FrameType::file, bytesOf("short"));
  client_.settle();
  EXPECT_FALSE(client_.peer->isClosedByHost());
}

TEST_F(FileDispatchTest, aFolderIsListed) {
  files().addFile("/home/anna/a.txt", "x");
  client_.send(message::RequestDirectory{"~"});
  const auto listing = client_.last<message::DirectoryListing>();
  ASSERT_TRUE(listing);
  EXPECT_EQ(listing->_0.requestedPath, "~");
  EXPECT_EQ(listing->_0.entries.size(), 2U);
}

TEST_F(FileDispatchTest, aRequestedFileArrivesWhole) {
  std::string text(1'000'000, 'q');
  for (std::size_t at = 0; at < text.size(); at += 7) text[at] = static_cast<char>(at);
  files().addFile("/home/anna/film", text);
  client_.peer->send(message::RequestFile{"~/film"});
  std::string arrived;
  std::optional<FileDone> done;
  simulation_.runUntil(
      [&] {
        for (const Frame& frame : client_.peer->takeFrames()) {
          if (frame.type == FrameType::file) arrived += textOf(FileChunk::decode(frame.payload)->data);
          if (frame.type != FrameType::control) continue;
          const auto message = ControlCoder::decode(frame.payload);
          if (const auto* end = std::get_if<message::FileDone>(&*message)) done = end->_0;
        }
        return done.has_value();
      },
      std::chrono::seconds(60));
  ASSERT_TRUE(done);
  EXPECT_EQ(arrived, text);
  EXPECT_EQ(done->sha256, digestOf(text));
}

TEST_F(FileDispatchTest, aFileForAClientThatReadsNothingCostsBoundedMemory) {
  files().addFile("/home/anna/film", std::string(64 << 20, 'q'));
  client_.peer->setReading(false);
  client_.peer->send(message::RequestFile{"~/film"});
  simulation_.advance(std::chrono::seconds(10));
  EXPECT_GT(connection_->outstandingBytes(), 0U);
  EXPECT_LE(connection_->outstandingBytes(), 9U << 20);
}

TEST_F(FileDispatchTest, theEndOfTheSessionClosesFilesThatAreSent) {
  files().addFile("/home/anna/film", std::string(64 << 20, 'q'));
  client_.peer->setReading(false);
  client_.send(message::RequestFile{"~/film"});
  ASSERT_EQ(*files().open, 1U);
  client_.peer->fail("connection reset");
  simulation_.runReady();
  EXPECT_EQ(*files().open, 0U);
}

TEST_F(FileDispatchTest, aDiskThatIsSlowerThanTheNetworkPausesReading) {
  client_.send(message::FileOffer{{transferID, "a", UINT64_MAX}});
  const Bytes payload = FileChunk{transferID, 0, Bytes(1 << 20)}.encoded();
  constexpr std::size_t chunks = 64;
  for (std::size_t number = 0; number < chunks; ++number) client_.peer->writeFrame(FrameType::file, payload);
  std::size_t leastUnread = SIZE_MAX;
  std::size_t mostTaken = 0;
  // The disk works only when nothing else does: the reads run ahead of it until they pause.
  while (simulation_.step()) {
    leastUnread = std::min(leastUnread, client_.peer->unreadBytes());
    mostTaken = std::max(mostTaken, chunks * payload.size() - client_.peer->unreadBytes());
  }
  EXPECT_EQ(client_.peer->unreadBytes(), 0U) << "reading goes on when the disk has caught up";
  client_.send(message::FileDone{{transferID, digestOf(std::string(1 << 20, '\0'))}});
  EXPECT_EQ(client_.last<message::FileDone>()->_0.sha256, digestOf(std::string(1 << 20, '\0')));
}

TEST_F(FileDispatchTest, chunksMayOutliveTheConnection) {
  client_.send(message::FileOffer{{transferID, "a", UINT64_MAX}});
  const Bytes payload = FileChunk{transferID, 0, Bytes(1 << 20)}.encoded();
  for (int number = 0; number < 64; ++number) client_.peer->writeFrame(FrameType::file, payload);
  // Some chunks have been read, and the disk has not taken all of them.
  const std::size_t sent = client_.peer->unreadBytes();
  while (client_.peer->unreadBytes() + 4 * payload.size() > sent) ASSERT_TRUE(simulation_.step());
  ASSERT_GT(client_.peer->unreadBytes(), 0U);
  connection_->close();
  const std::weak_ptr<ClientConnection> weak = connection_;
  connection_.reset();
  while (simulation_.step()) {
  }
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(*files().open, 0U);
}

TEST_F(FileDispatchTest, nothingHappensOnAPlatformWithoutFiles) {
  services_->platform.userFiles = nullptr;
  services_->fileArea = nullptr;
  client_.send(message::FileOffer{{transferID, "a", 1}});
  client_.send(message::RequestDirectory{""});
  client_.send(message::RequestFile{"a"});
  chunk(0, "x");
  EXPECT_THAT(client_.received, IsEmpty());
  EXPECT_FALSE(client_.peer->isClosedByHost());
}

}  // namespace
}  // namespace quorl::test
