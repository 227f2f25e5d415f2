// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sockets/SocketOwners.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// A folder with processes like /proc.
class SocketOwnersTest : public testing::Test {
 protected:
  void addProcess(int pid, const std::string& name) {
    folder_.write(std::to_string(pid) + "/comm", name + "\n");
    std::filesystem::create_directories(folder_ / std::to_string(pid) / "fd");
  }
  void addLink(int pid, int descriptor, const std::string& target) {
    std::filesystem::create_symlink(target, linkOf(pid, descriptor));
  }
  std::filesystem::path linkOf(int pid, int descriptor) {
    return folder_ / std::to_string(pid) / "fd" / std::to_string(descriptor);
  }

  TemporaryFolder folder_;
  SocketOwners owners_{folder_.path().string()};
};

TEST_F(SocketOwnersTest, findTheProcessWithALinkToTheSocket) {
  addProcess(10, "sh");
  addLink(10, 0, "/dev/null");
  addLink(10, 1, "pipe:[100]");
  addProcess(20, "node");
  addLink(20, 4, "socket:[100]");
  addLink(20, 5, "socket:[101]");
  folder_.write("self/comm", "x");
  EXPECT_THAT(owners_.find({100}), ElementsAre(Pair(100, SocketOwner{20, "node"})));
  EXPECT_THAT(owners_.find({100, 101}),
              ElementsAre(Pair(100, SocketOwner{20, "node"}), Pair(101, SocketOwner{20, "node"})));
}

TEST_F(SocketOwnersTest, leaveOutASocketWithoutAReadableProcess) {
  addProcess(10, "sh");
  EXPECT_THAT(owners_.find({100}), IsEmpty());
}

TEST_F(SocketOwnersTest, nameTheLowestOfSeveralProcesses) {
  for (const int pid : {200, 9, 30}) {
    addProcess(pid, "worker");
    addLink(pid, 3, "socket:[100]");
  }
  EXPECT_EQ(owners_.find({100}).at(100).pid, 9);
}

TEST_F(SocketOwnersTest, searchOnlyWhenASocketIsNew) {
  addProcess(20, "node");
  addLink(20, 4, "socket:[100]");
  EXPECT_EQ(owners_.find({100, 101}).size(), 1U);
  // A search would find these.
  addProcess(10, "parent");
  addLink(10, 4, "socket:[100]");
  addLink(10, 5, "socket:[101]");
  EXPECT_THAT(owners_.find({100, 101}), ElementsAre(Pair(100, SocketOwner{20, "node"})));
  EXPECT_THAT(owners_.find({100, 101, 102}),
              ElementsAre(Pair(100, SocketOwner{20, "node"}), Pair(101, SocketOwner{10, "parent"})));
}

TEST_F(SocketOwnersTest, searchAgainWhenTheProcessHasClosedTheSocket) {
  addProcess(20, "master");
  addLink(20, 4, "socket:[100]");
  addProcess(21, "child");
  addLink(21, 4, "socket:[100]");
  EXPECT_EQ(owners_.find({100}).at(100).pid, 20);
  std::filesystem::remove(linkOf(20, 4));
  EXPECT_EQ(owners_.find({100}).at(100).pid, 21);
  std::filesystem::remove(linkOf(21, 4));
  addLink(21, 4, "socket:[500]");
  EXPECT_THAT(owners_.find({100}), IsEmpty()) << "the number of the descriptor is another socket's";
}

TEST_F(SocketOwnersTest, followAChangedName) {
  addProcess(20, "python3");
  addLink(20, 4, "socket:[100]");
  EXPECT_EQ(owners_.find({100}).at(100).name, "python3");
  addProcess(20, "web (worker) 1");
  EXPECT_EQ(owners_.find({100}).at(100).name, "web (worker) 1");
}

TEST_F(SocketOwnersTest, repairANameThatIsNotUTF8) {
  addProcess(20, "caf\xE9");
  addLink(20, 4, "socket:[100]");
  EXPECT_EQ(owners_.find({100}).at(100).name, "caf\uFFFD");
}

TEST_F(SocketOwnersTest, ignoreLinksThatNameNoSocket) {
  addProcess(20, "node");
  addLink(20, 1, "socket:[100");
  addLink(20, 2, "socket:[]");
  addLink(20, 3, "socket:[100]x");
  addLink(20, 4, "/tmp/socket:[100]");
  addLink(20, 5, "socket:[" + std::string(100, '1') + "]");
  EXPECT_THAT(owners_.find({100}), IsEmpty());
}

TEST(SocketOwners, areEmptyWithoutTheFolder) {
  EXPECT_THAT(SocketOwners("/no/such/folder").find({100}), IsEmpty());
}

}  // namespace
}  // namespace quorl::test
