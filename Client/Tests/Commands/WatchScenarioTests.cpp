// SPDX-License-Identifier: GPL-3.0-or-later
// The real client starts a program that has the viewer's name.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-client/Hosts/HostBook.h>

namespace quorl::client {
namespace {

using quorl::test::ChildProgram;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

class WatchScenario : public testing::Test {
 protected:
  struct Result {
    int status = -1;
    std::string output;
  };

  // A copy, so that no viewer lies beside it.
  WatchScenario() {
    fs::create_directories(beside_);
    fs::create_directories(inPath_);
    fs::copy_file(QUORL_CLIENT_PROGRAM, beside_ / "quorl_client");
    const auto updated = HostBook(folder_.path() / "config" / "quorl").update([](HostBookContents& contents) {
      contents.hosts.push_back({"Desk", "desk.local", 47900, UUID::random(), Bytes(32)});
    });
    EXPECT_TRUE(updated);
  }
  void addViewer(const fs::path& folder, const std::string& script) const {
    const auto path = folder / "quorl_viewer";
    std::ofstream(path) << "#!/bin/sh\n" << script;
    fs::permissions(path, fs::perms::owner_all);
  }
  Result run(std::vector<std::string> words) const {
    words.insert(words.begin(), {(beside_ / "quorl_client").string(), "watch"});
    ChildProgram program(words, {fmt::format("PATH={}:/usr/bin:/bin", inPath_.string()),
                                 fmt::format("XDG_CONFIG_HOME={}", (folder_.path() / "config").string())});
    const auto status = program.waitForExit(std::chrono::seconds(60));
    return {status.value_or(-1), program.output()};
  }

  quorl::test::TemporaryFolder folder_;
  fs::path beside_ = folder_.path() / "beside";
  fs::path inPath_ = folder_.path() / "path";
};

TEST_F(WatchScenario, becomesTheViewerInPath) {
  addViewer(inPath_, "printf '<%s>' \"$@\"; exit 7");
  const auto result = run({"window/My Notes", "--mute"});
  EXPECT_EQ(result.output, "<--host><desk.local><--mute><window/My%20Notes>");
  EXPECT_EQ(result.status, 7);
}

TEST_F(WatchScenario, prefersTheViewerBesideTheClient) {
  addViewer(inPath_, "echo path");
  addViewer(beside_, "echo beside");
  EXPECT_EQ(run({}).output, "beside\n");
}

TEST_F(WatchScenario, theViewerGetsSignalsAsUsual) {
  addViewer(inPath_, "grep -E '^Sig(Blk|Ign):' /proc/self/status");
  EXPECT_EQ(run({}).output, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_F(WatchScenario, namesThePackageOfAMissingViewer) {
  const auto result = run({});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, StartsWith("quorl_client: the viewer is not installed\n"));
  EXPECT_THAT(result.output, HasSubstr("package quorl-viewer"));
}

TEST_F(WatchScenario, checksItsWordsBeforeItLooksForTheViewer) {
  EXPECT_EQ(run({"nonsense"}).status, 2);
  EXPECT_EQ(run({"--host", "elsewhere"}).status, 4);
}

}  // namespace
}  // namespace quorl::client
