// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Files/FileTransfer.h>
#include <Support/FakeRandom.h>
#include <Support/FakeUserFiles.h>
#include <Support/LogRecorder.h>
#include <Support/RecordingSink.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr UUID firstID{{1}};
constexpr UUID secondID{{2}};
const std::string downloads = "/home/anna/Downloads";

class FileReceiveTest : public testing::Test {
 protected:
  void offer(const UUID& id, const std::string& name, std::uint64_t byteCount) {
    transfer_->handleOffer({id, name, byteCount}, sink_);
    simulation_.runReady();
  }
  void chunk(const UUID& id, std::uint64_t offset, const std::string& text) {
    transfer_->handleChunk(FileChunk{id, offset, bytesOf(text)}.encoded());
    simulation_.runReady();
  }
  void done(const UUID& id, const std::string& text) {
    const SHA256Digest digest = sha256(viewOf(text));
    transfer_->handleDone({id, {digest.begin(), digest.end()}}, sink_);
    simulation_.runReady();
  }
  void receive(const UUID& id, const std::string& name, const std::string& text) {
    offer(id, name, text.size());
    chunk(id, 0, text);
    done(id, text);
  }
  std::vector<bool> answers() const {
    std::vector<bool> accepted;
    for (const auto& answer : sink_->messages<message::FileAccept>()) accepted.push_back(answer._0.accepted);
    return accepted;
  }
  Bytes lastDigest() const { return sink_->messages<message::FileDone>().back()._0.sha256; }
  static Bytes digestOf(const std::string& text) {
    const SHA256Digest digest = sha256(viewOf(text));
    return {digest.begin(), digest.end()};
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  std::shared_ptr<FakeUserFiles> files_ = std::make_shared<FakeUserFiles>();
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  std::shared_ptr<FileTransfer> transfer_ =
      std::make_shared<FileTransfer>(simulation_, files_, std::make_shared<FakeRandom>());
};

TEST_F(FileReceiveTest, aFileArrivesInTheDownloadsFolder) {
  offer(firstID, "report.pdf", 11);
  EXPECT_EQ(sink_->messages<message::FileAccept>().at(0)._0, (FileAccept{firstID, true}));
  EXPECT_TRUE(
      log_.has(LogLevel::info, "file", "accepting report.pdf (11 bytes) -> " + downloads + "/report.pdf"));
  chunk(firstID, 0, "hello ");
  chunk(firstID, 6, "world");
  done(firstID, "hello world");
  EXPECT_EQ(files_->text(downloads + "/report.pdf"), "hello world");
  EXPECT_EQ(sink_->messages<message::FileDone>().at(0)._0, (FileDone{firstID, digestOf("hello world")}));
  EXPECT_TRUE(log_.has(LogLevel::info, "file", "received report.pdf OK"));
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileReceiveTest, theConfiguredDownloadsFolderIsUsed) {
  files_->downloads = "/home/anna/Geladenes";
  receive(firstID, "a", "x");
  EXPECT_EQ(files_->text("/home/anna/Geladenes/a"), "x");
}

TEST_F(FileReceiveTest, nothingIsVisibleBeforeTheFileIsComplete) {
  offer(firstID, "report.pdf", 11);
  chunk(firstID, 0, "hello ");
  EXPECT_THAT(files_->namesIn(downloads), IsEmpty());
}

TEST_F(FileReceiveTest, aZeroByteOfferCreatesAnEmptyFile) {
  offer(firstID, "empty", 0);
  done(firstID, "");
  EXPECT_EQ(files_->text(downloads + "/empty"), "");
  EXPECT_TRUE(log_.has(LogLevel::info, "file", "received empty OK"));
}

TEST_F(FileReceiveTest, aChunkOfZeroLengthAtTheEndIsAccepted) {
  offer(firstID, "a", 3);
  chunk(firstID, 0, "abc");
  chunk(firstID, 3, "");
  done(firstID, "abc");
  EXPECT_EQ(files_->text(downloads + "/a"), "abc");
  EXPECT_EQ(lastDigest(), digestOf("abc"));
}

TEST_F(FileReceiveTest, aNameWithSlashesLandsWithUnderscores) {
  receive(firstID, "a/b.txt", "x");
  EXPECT_EQ(files_->text(downloads + "/a_b.txt"), "x");
}

TEST_F(FileReceiveTest, aSecondFileOfTheSameNameGetsANumber) {
  receive(firstID, "report.pdf", "1");
  receive(secondID, "report.pdf", "2");
  receive(firstID, "notes", "1");
  receive(secondID, "notes", "2");
  EXPECT_THAT(files_->namesIn(downloads), ElementsAre("notes", "notes 2", "report 2.pdf", "report.pdf"));
  EXPECT_EQ(files_->text(downloads + "/report 2.pdf"), "2");
}

TEST_F(FileReceiveTest, twoUnfinishedFilesOfTheSameNameGetTwoNames) {
  offer(firstID, "report.pdf", 1);
  offer(secondID, "report.pdf", 1);
  chunk(secondID, 0, "2");
  done(secondID, "2");
  chunk(firstID, 0, "1");
  done(firstID, "1");
  EXPECT_EQ(files_->text(downloads + "/report.pdf"), "1");
  EXPECT_EQ(files_->text(downloads + "/report 2.pdf"), "2");
}

TEST_F(FileReceiveTest, aNameThatIsTakenMeanwhileIsNotOverwritten) {
  offer(firstID, "report.pdf", 1);
  files_->addFile(downloads + "/report.pdf", "of another program");
  chunk(firstID, 0, "1");
  done(firstID, "1");
  EXPECT_EQ(files_->text(downloads + "/report.pdf"), "of another program");
  EXPECT_EQ(files_->text(downloads + "/report 2.pdf"), "1");
}

TEST_F(FileReceiveTest, aNameThatIsTakenAgainAndAgainEndsWithoutAName) {
  int number = 1;
  *files_->beforeKeep = [&] {
    files_->addFile(downloads + (number == 1 ? "/a" : "/a " + std::to_string(number)), "other");
    ++number;
  };
  receive(firstID, "a", "x");
  EXPECT_TRUE(log_.has(LogLevel::error, "file", "cannot keep a: its name is always taken"));
  EXPECT_THAT(lastDigest(), IsEmpty()) << "the client must not take the file for stored";
}

TEST_F(FileReceiveTest, aFileThatIsLostIsNotReportedAsReceived) {
  int number = 1;
  *files_->beforeKeep = [&] {
    files_->addFile(downloads + (number == 1 ? "/a" : "/a " + std::to_string(number)), "other");
    ++number;
  };
  offer(firstID, "a", 1);
  chunk(firstID, 0, "x");
  transfer_->handleDone({firstID, {}}, sink_);
  simulation_.runReady();
  EXPECT_FALSE(log_.has(LogLevel::info, "file", "received a OK"));
}

TEST_F(FileReceiveTest, theHashOfAFileIsNotFinishedForAClientThatHasLeft) {
  offer(firstID, "a", 6);
  chunk(firstID, 3, "def");
  chunk(firstID, 0, "abc");
  *files_->beforeRead = [this] { transfer_->abortAll(); };
  done(firstID, "abcdef");
  EXPECT_EQ(*files_->secondPasses, 1U);
  EXPECT_EQ(files_->text(downloads + "/a"), "abcdef") << "the client has said that it is whole";
  EXPECT_TRUE(
      log_.has(LogLevel::info, "file", "received a without a check of its hash: its client has left"));
}

TEST_F(FileReceiveTest, hasNoRoomWhileOffersWaitForTheDisk) {
  for (int number = 0; number < 9; ++number)
    transfer_->handleOffer({UUID{{std::uint8_t(number)}}, std::string(1'048'576, 'x'), 1}, sink_);
  EXPECT_FALSE(transfer_->hasRoom());
  simulation_.runReady();
  EXPECT_TRUE(transfer_->hasRoom());
}

TEST_F(FileReceiveTest, aFileWithPartOfItsChunksIsKeptWithAWrongHash) {
  offer(firstID, "a", 6);
  chunk(firstID, 0, "abc");
  done(firstID, "abcdef");
  EXPECT_EQ(files_->text(downloads + "/a"), "abc");
  EXPECT_EQ(lastDigest(), digestOf("abc"));
  EXPECT_TRUE(log_.has(LogLevel::error, "file", "hash mismatch for a"));
}

TEST_F(FileReceiveTest, anOfferUnderALiveIDRemovesTheFirstPartialFile) {
  offer(firstID, "first", 6);
  chunk(firstID, 0, "abc");
  offer(firstID, "second", 1);
  EXPECT_EQ(*files_->open, 1U);
  chunk(firstID, 0, "x");
  done(firstID, "x");
  EXPECT_THAT(files_->namesIn(downloads), ElementsAre("second"));
}

TEST_F(FileReceiveTest, anOfferUnderALiveIDDoesNotTakeTheNameOfThePartialFile) {
  offer(firstID, "report.pdf", 6);
  offer(firstID, "report.pdf", 1);
  chunk(firstID, 0, "x");
  done(firstID, "x");
  EXPECT_THAT(files_->namesIn(downloads), ElementsAre("report 2.pdf"));
}

TEST_F(FileReceiveTest, chunksMayComeInAnyOrderAndRepeat) {
  offer(firstID, "a", 9);
  chunk(firstID, 6, "ghi");
  chunk(firstID, 0, "abc");
  chunk(firstID, 0, "abc");
  chunk(firstID, 3, "def");
  done(firstID, "abcdefghi");
  EXPECT_EQ(files_->text(downloads + "/a"), "abcdefghi");
  EXPECT_EQ(lastDigest(), digestOf("abcdefghi"));
}

TEST_F(FileReceiveTest, aGapReadsAsZerosAndTheHashCoversThem) {
  offer(firstID, "a", 4);
  chunk(firstID, 2, "cd");
  done(firstID, std::string("\0\0cd", 4));
  EXPECT_EQ(lastDigest(), digestOf(std::string("\0\0cd", 4)));
}

TEST_F(FileReceiveTest, anOverwrittenChunkCountsWithItsLastContent) {
  offer(firstID, "a", 6);
  chunk(firstID, 0, "abcdef");
  chunk(firstID, 0, "ABC");
  done(firstID, "ABCdef");
  EXPECT_EQ(lastDigest(), digestOf("ABCdef"));
  EXPECT_TRUE(log_.has(LogLevel::info, "file", "received a OK"));
}

TEST_F(FileReceiveTest, chunksInOrderAreHashedWithoutReadingTheFileAgain) {
  receive(firstID, "a", "abc");
  EXPECT_EQ(*files_->secondPasses, 0U);
}

TEST_F(FileReceiveTest, aChunkOutsideTheOfferedSizeEndsTheTransferWithoutAFile) {
  offer(firstID, "a", 4);
  chunk(firstID, 0, "ab");
  chunk(firstID, 2, "cde");
  EXPECT_TRUE(
      log_.has(LogLevel::error, "file", "rejecting out-of-range chunk for a (offset 2, len 3, expected 4)"));
  EXPECT_EQ(*files_->open, 0U);
  done(firstID, "ab");
  EXPECT_THAT(files_->namesIn(downloads), IsEmpty());
  EXPECT_THAT(sink_->messages<message::FileDone>(), IsEmpty());
  EXPECT_THAT(sink_->messages<message::Error>(), IsEmpty());
}

TEST_F(FileReceiveTest, aChunkWhoseEndOverflowsIsRejected) {
  constexpr std::uint64_t last = UINT64_MAX;
  offer(firstID, "a", last);
  chunk(firstID, last, "xy");
  EXPECT_TRUE(log_.has(LogLevel::error, "file",
                       "rejecting out-of-range chunk for a (offset 18446744073709551615, len 2, expected "
                       "18446744073709551615)"));
}

TEST_F(FileReceiveTest, aChunkOfZeroLengthBeyondTheEndIsRejected) {
  offer(firstID, "a", 4);
  chunk(firstID, 5, "");
  EXPECT_EQ(log_.count("rejecting out-of-range chunk for a (offset 5, len 0, expected 4)"), 1U);
}

TEST_F(FileReceiveTest, aWriteErrorKeepsThePartialFile) {
  *files_->room = 3;
  offer(firstID, "a", 6);
  chunk(firstID, 0, "abc");
  chunk(firstID, 3, "def");
  EXPECT_TRUE(log_.has(LogLevel::error, "file", "chunk write failed: No space left on device"));
  EXPECT_EQ(files_->text(downloads + "/a"), "abc");
  EXPECT_EQ(*files_->open, 0U);
  done(firstID, "abcdef");
  EXPECT_THAT(sink_->messages<message::FileDone>(), IsEmpty()) << "the transfer is gone";
}

TEST_F(FileReceiveTest, aWriteErrorIsReportedToTheClient) {
  *files_->room = 0;
  offer(firstID, "a", 6);
  chunk(firstID, 0, "abc");
  ASSERT_EQ(sink_->messages<message::Error>().size(), 1U);
  EXPECT_EQ(sink_->messages<message::Error>().at(0)._0,
            (WireError{"file.write", "cannot write a: No space left on device"}));
}

TEST_F(FileReceiveTest, aFileThatCannotBeCreatedIsRefused) {
  files_->createError = PortError{"Read-only file system"};
  offer(firstID, "a", 1);
  EXPECT_THAT(answers(), ElementsAre(false));
  EXPECT_TRUE(log_.has(LogLevel::error, "file", "file offer failed: Read-only file system"));
  chunk(firstID, 0, "x");
  done(firstID, "x");
  EXPECT_EQ(sink_->controls.size(), 1U) << "there is no transfer";
}

TEST_F(FileReceiveTest, aNameThatIsTooLongIsRefusedAtTheOffer) {
  offer(firstID, std::string(256, 'n'), 1);
  EXPECT_THAT(answers(), ElementsAre(false));
  EXPECT_TRUE(log_.has(LogLevel::error, "file", "file offer failed: File name too long"));
  offer(secondID, std::string(255, 'n'), 1);
  EXPECT_THAT(answers(), ElementsAre(false, true));
}

TEST_F(FileReceiveTest, aRefusedOfferStillDiscardsTheEarlierOneUnderItsID) {
  offer(firstID, "a", 3);
  files_->createError = PortError{"Read-only file system"};
  offer(firstID, "b", 3);
  EXPECT_EQ(*files_->open, 0U);
}

TEST_F(FileReceiveTest, tooManyUnfinishedFilesAreRefused) {
  for (std::size_t number = 0; number < FileTransfer::mostIncoming; ++number)
    transfer_->handleOffer({UUID::random(), "a" + std::to_string(number), 1}, sink_);
  simulation_.runReady();
  offer(firstID, "b", 1);
  EXPECT_FALSE(answers().back());
  EXPECT_EQ(*files_->open, FileTransfer::mostIncoming);
}

TEST_F(FileReceiveTest, anUnknownTransferIsIgnored) {
  chunk(firstID, 0, "abc");
  done(firstID, "abc");
  transfer_->handleChunk(bytesOf("too short"));
  simulation_.runReady();
  EXPECT_THAT(sink_->controls, IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FileReceiveTest, theEndOfTheSessionLeavesNoPartialFiles) {
  offer(firstID, "a", 6);
  chunk(firstID, 0, "abc");
  transfer_->abortAll();
  simulation_.runReady();
  EXPECT_EQ(*files_->open, 0U);
  EXPECT_THAT(files_->namesIn(downloads), IsEmpty());
  offer(secondID, "late", 1);
  EXPECT_EQ(*files_->open, 0U) << "nothing would end it";
}

TEST_F(FileReceiveTest, hasNoRoomWhileChunksWaitForTheDisk) {
  int rooms = 0;
  transfer_->onRoom([&] { ++rooms; });
  offer(firstID, "a", UINT64_MAX);
  const Bytes payload = FileChunk{firstID, 0, Bytes(1 << 20)}.encoded();
  while (transfer_->hasRoom()) transfer_->handleChunk(payload);
  EXPECT_EQ(rooms, 0);
  simulation_.runReady();
  EXPECT_TRUE(transfer_->hasRoom());
  EXPECT_EQ(rooms, 1);
}

TEST_F(FileReceiveTest, chunksOfUnknownTransfersUseRoomOnlyUntilTheyAreDropped) {
  while (transfer_->hasRoom()) transfer_->handleChunk(Bytes(1 << 20));
  simulation_.runReady();
  EXPECT_TRUE(transfer_->hasRoom());
}

}  // namespace
}  // namespace quorl::test
