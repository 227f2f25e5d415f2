// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Files/FileTransfer.h>
#include <Support/FakeRandom.h>
#include <Support/FakeUserFiles.h>
#include <Support/RecordingSink.h>

namespace quorl::test {
namespace {

using testing::IsEmpty;

class FileSendTest : public testing::Test {
 protected:
  void send(const std::string& path) {
    auto place = files_->find(path);
    ASSERT_TRUE(place);
    transfer_->sendFile(path, std::move(*place), sink_);
    simulation_.runReady();
  }
  std::vector<FileChunk> chunks() const {
    std::vector<FileChunk> found;
    for (const OutgoingFrame& frame : sink_->frames) {
      const Bytes bytes = frame.encoded();
      EXPECT_EQ(frame.type(), FrameType::file);
      found.push_back(*FileChunk::decode(ByteView(bytes).subspan(frameHeaderSize)));
    }
    return found;
  }
  std::string content() const {
    std::string text;
    for (const FileChunk& chunk : chunks()) {
      EXPECT_EQ(chunk.offset, text.size());
      text += textOf(chunk.data);
    }
    return text;
  }
  static Bytes digestOf(const std::string& text) {
    const SHA256Digest digest = sha256(viewOf(text));
    return {digest.begin(), digest.end()};
  }

  SimulatedScheduler simulation_;
  std::shared_ptr<FakeUserFiles> files_ = std::make_shared<FakeUserFiles>();
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  std::shared_ptr<FileTransfer> transfer_ =
      std::make_shared<FileTransfer>(simulation_, files_, std::make_shared<FakeRandom>());
};

TEST_F(FileSendTest, sendsOfferChunksAndHash) {
  const std::string text(600'000, 'q');
  files_->addFile("/home/anna/film.mkv", text);
  send("/home/anna/film.mkv");
  const auto offers = sink_->messages<message::FileOffer>();
  ASSERT_EQ(offers.size(), 1U);
  EXPECT_EQ(offers[0]._0.fileName, "film.mkv");
  EXPECT_EQ(offers[0]._0.byteCount, 600'000U);
  ASSERT_EQ(chunks().size(), 3U);
  EXPECT_EQ(chunks()[0].data.size(), 262'144U);
  EXPECT_EQ(chunks()[0].transferID, offers[0]._0.transferID);
  EXPECT_EQ(content(), text);
  ASSERT_EQ(sink_->messages<message::FileDone>().size(), 1U);
  EXPECT_EQ(sink_->messages<message::FileDone>()[0]._0, (FileDone{offers[0]._0.transferID, digestOf(text)}));
  EXPECT_EQ(sink_->order, (std::vector<char>{'c', 'f', 'f', 'f', 'c'}));
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileSendTest, sendsAnEmptyFileWithoutChunks) {
  files_->addFile("/home/anna/empty", "");
  send("/home/anna/empty");
  EXPECT_THAT(sink_->frames, IsEmpty());
  EXPECT_EQ(sink_->messages<message::FileDone>().at(0)._0.sha256, digestOf(""));
}

TEST_F(FileSendTest, givesEachTransferANewID) {
  files_->addFile("/home/anna/a", "x");
  send("/home/anna/a");
  send("/home/anna/a");
  const auto offers = sink_->messages<message::FileOffer>();
  ASSERT_EQ(offers.size(), 2U);
  EXPECT_NE(offers[0]._0.transferID, offers[1]._0.transferID);
}

TEST_F(FileSendTest, waitsForTheLinkWithoutATimer) {
  files_->addFile("/home/anna/a", std::string(600'000, 'q'));
  sink_->isOpen = false;
  send("/home/anna/a");
  EXPECT_THAT(sink_->frames, IsEmpty());
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
  sink_->open();
  simulation_.runReady();
  EXPECT_EQ(content().size(), 600'000U);
}

TEST_F(FileSendTest, sendsPiecesOfTheSizeThatTheLinkAllows) {
  files_->addFile("/home/anna/a", std::string(10'000, 'q'));
  sink_->filePiece = 4'096;
  send("/home/anna/a");
  ASSERT_EQ(chunks().size(), 3U);
  EXPECT_EQ(chunks()[0].data.size(), 4'096U);
  EXPECT_EQ(chunks()[2].data.size(), 1'808U);
}

TEST_F(FileSendTest, endsAFileThatCannotBeReadFurtherWithTheHashOfWhatWasSent) {
  const std::string text(300'000, 'q');
  files_->addFile("/home/anna/a", text);
  files_->readError = PortError{"Input/output error"};
  send("/home/anna/a");
  EXPECT_EQ(content(), text.substr(0, 262'144));
  EXPECT_EQ(sink_->messages<message::FileDone>().at(0)._0.sha256, digestOf(text.substr(0, 262'144)));
}

TEST_F(FileSendTest, refusesWhatIsNoFile) {
  (*files_->nodes)["/home/anna/pipe"].kind = UserPlace::Kind::other;
  send("/home/anna/pipe");
  ASSERT_EQ(sink_->messages<message::Error>().size(), 1U);
  EXPECT_EQ(sink_->messages<message::Error>()[0]._0, (WireError{"file.read", "cannot read /home/anna/pipe"}));
  EXPECT_THAT(sink_->messages<message::FileOffer>(), IsEmpty());
}

TEST_F(FileSendTest, stopsReadingWhenTheSessionHasEnded) {
  files_->addFile("/home/anna/a", std::string(600'000, 'q'));
  sink_->isOpen = false;
  send("/home/anna/a");
  sink_->hasEnded = true;
  sink_->open();
  simulation_.runReady();
  EXPECT_THAT(sink_->frames, IsEmpty());
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileSendTest, closesItsFilesWhenTheSessionEndsDuringAWait) {
  files_->addFile("/home/anna/a", "abc");
  sink_->isOpen = false;
  send("/home/anna/a");
  transfer_->abortAll();
  sink_->waitingFiles.clear();  // as the end of a session does
  simulation_.runReady();
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileSendTest, sendsAFewFilesAtATimeAndAllInTheEnd) {
  sink_->isOpen = false;
  for (int number = 0; number < 100; ++number) {
    const std::string path = "/home/anna/" + std::to_string(number);
    files_->addFile(path, "abc");
    send(path);
  }
  EXPECT_EQ(*files_->open, FileSender::mostAtOnce);
  sink_->open();
  simulation_.runReady();
  EXPECT_EQ(sink_->messages<message::FileDone>().size(), 100U);
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileSendTest, refusesMoreWaitingFilesThanItMayHold) {
  sink_->isOpen = false;
  files_->addFile("/home/anna/a", "abc");
  for (std::size_t number = 0; number < FileSender::mostAtOnce + FileSender::mostWaiting; ++number)
    transfer_->sendFile("/home/anna/a", std::move(*files_->find("/home/anna/a")), sink_);
  simulation_.runReady();
  EXPECT_THAT(sink_->messages<message::Error>(), IsEmpty());
  send("/home/anna/a");
  EXPECT_EQ(sink_->messages<message::Error>().size(), 1U);
}

}  // namespace
}  // namespace quorl::test
