// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Files/FileBrowser.h>
#include <Support/FakeRandom.h>
#include <Support/FakeUserFiles.h>
#include <Support/RecordingSink.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileBrowserTest : public testing::Test {
 protected:
  DirectoryListing list(const std::string& path) {
    browser_->requestDirectory(path, sink_);
    simulation_.runReady();
    const auto listings = sink_->messages<message::DirectoryListing>();
    EXPECT_FALSE(listings.empty());
    return listings.empty() ? DirectoryListing{} : listings.back()._0;
  }
  WireError request(const std::string& path) {
    browser_->requestFile(path, sink_);
    simulation_.runReady();
    const auto errors = sink_->messages<message::Error>();
    return errors.empty() ? WireError{} : errors.back()._0;
  }
  static std::vector<std::string> names(const DirectoryListing& listing) {
    std::vector<std::string> found;
    for (const RemoteFileEntry& entry : listing.entries) found.push_back(entry.name);
    return found;
  }

  SimulatedScheduler simulation_;
  std::shared_ptr<FakeUserFiles> files_ = std::make_shared<FakeUserFiles>();
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  std::shared_ptr<FileTransfer> transfer_ =
      std::make_shared<FileTransfer>(simulation_, files_, std::make_shared<FakeRandom>());
  std::shared_ptr<FileArea> area_ = std::make_shared<FileArea>(files_);
  std::shared_ptr<FileBrowser> browser_ = std::make_shared<FileBrowser>(simulation_, area_, transfer_);
};

TEST_F(FileBrowserTest, anEmptyPathListsTheHomeFolder) {
  files_->addFile("/home/anna/b.txt", "12345");
  files_->addFile("/home/anna/.hidden", "");
  (*files_->nodes)["/home/anna/b.txt"].modified = Date{1'700'000'000.5};
  const DirectoryListing listing = list("");
  EXPECT_EQ(listing.path, "/home/anna");
  EXPECT_EQ(listing.parent, "/home");
  EXPECT_EQ(listing.requestedPath, "");
  EXPECT_EQ(listing.error, std::nullopt);
  EXPECT_THAT(names(listing), ElementsAre("Downloads", ".hidden", "b.txt"));
  EXPECT_EQ(listing.entries[2],
            (RemoteFileEntry{"b.txt", "/home/anna/b.txt", false, 5, Date{1'700'000'000.5}, "txt"}));
  EXPECT_EQ(listing.entries[1].kind, std::nullopt);
}

TEST_F(FileBrowserTest, aTildeIsExpandedAndTheRequestIsRepeatedLiterally) {
  files_->addFolder("/home/anna/Documents");
  const DirectoryListing listing = list("~/Documents");
  EXPECT_EQ(listing.path, "/home/anna/Documents");
  EXPECT_EQ(listing.parent, "/home/anna");
  EXPECT_EQ(listing.requestedPath, "~/Documents");
  EXPECT_EQ(list("~").path, "/home/anna");
  EXPECT_EQ(list("~anna/Documents").path, "/home/anna/Documents");
  EXPECT_EQ(list("~bert").error, "Access denied: /home/bert is outside the browsable area");
  EXPECT_EQ(list("~nobody/x").error, "Access denied: ~nobody/x is outside the browsable area");
}

TEST_F(FileBrowserTest, theRootFolderIsDeniedAndHasNoParent) {
  const DirectoryListing listing = list("/");
  EXPECT_EQ(listing.path, "/");
  EXPECT_EQ(listing.parent, std::nullopt);
  EXPECT_EQ(listing.error, "Access denied: / is outside the browsable area");
  EXPECT_THAT(listing.entries, IsEmpty());
  EXPECT_EQ(listing.requestedPath, "/");
}

TEST_F(FileBrowserTest, foldersOutsideTheAreaAreDenied) {
  EXPECT_EQ(list("/etc").error, "Access denied: /etc is outside the browsable area");
  const std::string parent = list("").parent.value();
  EXPECT_EQ(list(parent).error, "Access denied: /home is outside the browsable area");
  EXPECT_EQ(list("/home/annabel").error, "Access denied: /home/annabel is outside the browsable area");
  EXPECT_EQ(list("relative").error, "Access denied: relative is outside the browsable area");
}

TEST_F(FileBrowserTest, theFolderOfVolumesListsThemAndALinkToTheRootIsDenied) {
  files_->addFolder("/media/stick");
  files_->addLink("/media/system", "/");
  EXPECT_THAT(names(list("/media")), ElementsAre("stick", "system"));
  EXPECT_FALSE(sink_->messages<message::DirectoryListing>().back()._0.entries[1].isDirectory);
  EXPECT_EQ(list("/media/system").error, "Access denied: /media/system is outside the browsable area");
  EXPECT_EQ(list("/media/system/etc").error,
            "Access denied: /media/system/etc is outside the browsable area");
}

TEST_F(FileBrowserTest, parentStepsAreRemovedBeforeTheCheck) {
  EXPECT_EQ(list("/home/anna/../../etc").error,
            "Access denied: /home/anna/../../etc is outside the browsable area");
  EXPECT_EQ(list("/etc/../home/anna").path, "/home/anna");
  EXPECT_EQ(list("~/Downloads/..").path, "/home/anna");
}

TEST_F(FileBrowserTest, aParentStepAfterALinkCannotLeadOut) {
  files_->addFolder("/tmp/inside");
  files_->addLink("/home/anna/link", "/etc");
  files_->addLink("/home/anna/other", "/tmp/inside");
  EXPECT_TRUE(list("/home/anna/link/../anna").error.value().starts_with("Access denied"));
  EXPECT_EQ(list("/home/anna/other/..").path, "/home/anna");
}

TEST_F(FileBrowserTest, atMost2000EntriesAreListedAndTheseAreSorted) {
  for (int number = 0; number < 3'000; ++number)
    files_->addFile("/home/anna/many/" + std::to_string(number * 7919 % 3'000), "");
  const DirectoryListing listing = list("/home/anna/many");
  EXPECT_EQ(listing.entries.size(), 2'000U);
  EXPECT_TRUE(std::ranges::is_sorted(listing.entries, {}, &RemoteFileEntry::name));
}

TEST_F(FileBrowserTest, anUnreadableFolderAnswersWithItsErrorAndAUsableParent) {
  files_->addFolder("/home/anna/private");
  (*files_->nodes)["/home/anna/private"].isReadable = false;
  const DirectoryListing listing = list("~/private");
  EXPECT_EQ(listing.path, "/home/anna/private");
  EXPECT_EQ(listing.parent, "/home/anna");
  EXPECT_EQ(listing.error, "Can't read /home/anna/private: Permission denied");
  EXPECT_THAT(listing.entries, IsEmpty());
  EXPECT_EQ(list(*listing.parent).error, std::nullopt);
}

TEST_F(FileBrowserTest, aMissingFolderAnswersWithItsError) {
  EXPECT_EQ(list("~/missing").error, "Can't read /home/anna/missing: No such file or directory");
  files_->addFile("/home/anna/file", "");
  EXPECT_EQ(list("~/file").error, "Can't read /home/anna/file: Not a directory");
}

TEST_F(FileBrowserTest, aLinkIsShownAsItsTargetOnlyInsideTheArea) {
  files_->addFolder("/home/anna/folder");
  files_->addLink("/home/anna/inside", "/home/anna/folder");
  files_->addLink("/home/anna/outside", "/etc");
  files_->addLink("/home/anna/dangling", "/home/anna/nothing");
  const DirectoryListing listing = list("");
  EXPECT_THAT(names(listing), ElementsAre("Downloads", "folder", "inside", "dangling", "outside"));
  EXPECT_EQ(listing.entries[4].byteCount, 4U) << "the length of the link itself";
}

TEST_F(FileBrowserTest, namesThatAreNotUTF8AreRepaired) {
  files_->addFile("/home/anna/n/\xFF.txt", "");
  const DirectoryListing listing = list("~/n");
  ASSERT_EQ(listing.entries.size(), 1U);
  EXPECT_EQ(listing.entries[0].name, "\xEF\xBF\xBD.txt");
}

TEST_F(FileBrowserTest, aRequestedFileIsSent) {
  files_->addFile("/home/anna/a.txt", "abc");
  EXPECT_EQ(request("~/a.txt"), WireError{});
  ASSERT_EQ(sink_->messages<message::FileOffer>().size(), 1U);
  EXPECT_EQ(sink_->messages<message::FileOffer>()[0]._0.fileName, "a.txt");
  EXPECT_EQ(sink_->messages<message::FileDone>().size(), 1U);
}

TEST_F(FileBrowserTest, aFileOutsideTheAreaIsDenied) {
  files_->addFile("/etc/passwd", "root");
  files_->addLink("/home/anna/link", "/etc/passwd");
  EXPECT_EQ(request("/etc/passwd"), (WireError{"file.denied", "access denied: /etc/passwd"}));
  EXPECT_EQ(request("~/link"), (WireError{"file.denied", "access denied: /home/anna/link"}));
  EXPECT_EQ(request("/etc/missing"), (WireError{"file.denied", "access denied: /etc/missing"}));
  EXPECT_THAT(sink_->frames, IsEmpty());
}

TEST_F(FileBrowserTest, aMissingFileOrAFolderIsNotFound) {
  EXPECT_EQ(request("~/missing"), (WireError{"file.notFound", "no such file: /home/anna/missing"}));
  EXPECT_EQ(request("~/Downloads"), (WireError{"file.notFound", "no such file: /home/anna/Downloads"}));
  EXPECT_EQ(request(""), (WireError{"file.notFound", "no such file: /home/anna"}));
}

TEST_F(FileBrowserTest, anUnreadableFileIsReported) {
  files_->addFile("/home/anna/a", "x");
  (*files_->nodes)["/home/anna/a"].isReadable = false;
  EXPECT_EQ(request("~/a"), (WireError{"file.unreadable", "not readable: /home/anna/a"}));
}

TEST_F(FileBrowserTest, aPipeIsNotRead) {
  (*files_->nodes)["/home/anna/pipe"].kind = UserPlace::Kind::other;
  EXPECT_EQ(request("~/pipe"), (WireError{"file.read", "cannot read /home/anna/pipe"}));
}

TEST_F(FileBrowserTest, requestsAreAnsweredInOrderWhileTheLinkHasRoom) {
  sink_->isOpen = false;
  for (int number = 0; number < 100; ++number) browser_->requestDirectory("~", sink_);
  simulation_.runReady();
  EXPECT_THAT(sink_->controls, IsEmpty()) << "answers must not pile up";
  sink_->open();
  simulation_.runReady();
  EXPECT_EQ(sink_->messages<message::DirectoryListing>().size(), 100U);
}

TEST_F(FileBrowserTest, hasNoRoomWhileTooManyRequestsWait) {
  int rooms = 0;
  browser_->onRoom([&] { ++rooms; });
  while (browser_->hasRoom()) browser_->requestDirectory("~", sink_);
  simulation_.runReady();
  EXPECT_TRUE(browser_->hasRoom());
  EXPECT_EQ(rooms, 1);
}

TEST_F(FileBrowserTest, aRootWithoutAPathHoldsNothing) {
  files_->temporary = "";
  EXPECT_EQ(list("/etc").error, "Access denied: /etc is outside the browsable area");
  EXPECT_EQ(list("").error, std::nullopt);
}

TEST_F(FileBrowserTest, theAreaIsDeterminedOnce) {
  list("/media");
  const auto before = files_->rootQuestions;
  FileBrowser second(simulation_, area_, transfer_);
  list("/media");
  EXPECT_EQ(files_->rootQuestions, before);
  EXPECT_GT(before, 0U);
}

}  // namespace
}  // namespace quorl::test
