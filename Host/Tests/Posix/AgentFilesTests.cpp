// SPDX-License-Identifier: GPL-3.0-or-later
// The agents' stores on real disks, including full and read-only
// ones.
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostPosix/PosixFileStore.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Field;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr std::size_t builtinCount = 2;

class AgentFiles : public testing::Test {
 protected:
  AgentFiles() {
    std::string pattern = (fs::temp_directory_path() / "quorl-stores-XXXXXX").string();
    disk = ::mkdtemp(pattern.data());
    folder = disk / "QuorlHost";
  }
  ~AgentFiles() override {
    if (isMounted) ::umount(disk.c_str());
    fs::remove_all(disk);
  }

  // Mounts a disk for the test. False without the right to mount.
  bool mountDisk(const char* options) {
    isMounted = ::unshare(CLONE_NEWNS) == 0 &&
                ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                ::mount("tmpfs", disk.c_str(), "tmpfs", 0, options) == 0;
    return isMounted;
  }
  bool makeReadOnly() {
    return ::mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }
  void fillDisk() {
    std::ofstream filler(disk / "filler");
    const std::string block(4096, 'x');
    while (filler << block << std::flush) {
    }
  }
  std::unique_ptr<AgentCatalog> catalog() {
    return std::make_unique<AgentCatalog>(scheduler, files, folder.string(), "/home/kim");
  }
  std::unique_ptr<HostExtrasStore> extras() {
    return std::make_unique<HostExtrasStore>(scheduler, files, folder.string());
  }
  static AgentCatalogEntry entry(const std::string& name, std::uint8_t number) {
    return {.id = UUID{{number}}, .name = name, .command = name, .workingDirectory = "/", .env = {}};
  }
  static CustomService service(const std::string& name, std::uint8_t number) {
    return {.id = UUID{{number}}, .name = name, .port = std::uint16_t{3000}, .urlString = {}, .note = {}};
  }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    if (fs::exists(folder))
      for (const auto& file : fs::directory_iterator(folder)) result.push_back(file.path().filename());
    return result;
  }
  static unsigned mode(const fs::path& at) {
    struct stat facts{};
    EXPECT_EQ(::lstat(at.c_str(), &facts), 0) << at;
    return facts.st_mode & 07777U;
  }
  // Changes both stores. They keep the change even if it cannot be written.
  void changeAll(AgentCatalog& list, HostExtrasStore& more) {
    EXPECT_THAT(list.upsert(entry("late", 2)), Contains(Field(&AgentCatalogEntry::name, "late")));
    more.addService(service("late", 2));
    EXPECT_THAT(more.customServices(), Contains(Field(&CustomService::name, "late")));
    more.setGUIAgentBundles({"late"});
    EXPECT_EQ(more.guiAgentBundles(), std::vector<std::string>{"late"});
  }
  std::size_t failuresLogged() const {
    return static_cast<std::size_t>(std::ranges::count_if(log.lines(), [](const LogRecorder::Line& line) {
      return line.level == LogLevel::error && line.text.starts_with("host store write failed (");
    }));
  }

  LogRecorder log;
  SimulatedScheduler scheduler;
  std::shared_ptr<FileStore> files = std::make_shared<PosixFileStore>();
  fs::path disk;
  fs::path folder;
  bool isMounted = false;
};

TEST_F(AgentFiles, existOnlyAfterAChangeAndOnlyForTheirOwner) {
  const auto list = catalog();
  const auto more = extras();
  EXPECT_THAT(list->all(), SizeIs(builtinCount));
  EXPECT_THAT(names(), testing::IsEmpty());
  list->upsert(entry("one", 1));
  more->addService(service("one", 1));
  more->setGUIAgentBundles({"one"});
  EXPECT_THAT(names(),
              UnorderedElementsAre("agent-catalog.json", "custom-services.json", "gui-agent-bundles.json"));
  for (const auto& name : names()) EXPECT_EQ(mode(folder / name), 0600U) << name;
  EXPECT_EQ(mode(folder), 0700U);
  // A later write restores a mode that was changed.
  ::chmod((folder / "agent-catalog.json").c_str(), 0666);
  list->upsert(entry("two", 2));
  EXPECT_EQ(mode(folder / "agent-catalog.json"), 0600U);
}

TEST_F(AgentFiles, areReadAgainAtTheNextStart) {
  catalog()->upsert(entry("one", 1));
  extras()->addService(service("one", 1));
  extras()->setGUIAgentBundles({"one"});
  EXPECT_THAT(catalog()->all(), SizeIs(builtinCount + 1));
  EXPECT_THAT(extras()->customServices(), SizeIs(1));
  EXPECT_EQ(extras()->guiAgentBundles(), std::vector<std::string>{"one"});
}

TEST_F(AgentFiles, stayCompleteOnAFullDiskAndAreWrittenWhenThereIsRoom) {
  if (!mountDisk("size=256k")) GTEST_SKIP() << "needs the right to mount";
  const auto list = catalog();
  const auto more = extras();
  list->upsert(entry("early", 1));
  more->addService(service("early", 1));
  fillDisk();
  changeAll(*list, *more);
  EXPECT_EQ(failuresLogged(), 3U);
  EXPECT_THAT(catalog()->all(), SizeIs(builtinCount + 1)) << "the file is the old one";
  EXPECT_THAT(extras()->customServices(), SizeIs(1));
  EXPECT_THAT(names(), UnorderedElementsAre("agent-catalog.json", "custom-services.json"))
      << "nothing half-written";
  fs::remove(disk / "filler");
  list->upsert(entry("later", 3));
  EXPECT_THAT(catalog()->all(), SizeIs(builtinCount + 3)) << "with what could not be written before";
}

TEST_F(AgentFiles, onAReadOnlyDiskChangesLastAsLongAsTheHost) {
  if (!mountDisk("size=256k")) GTEST_SKIP() << "needs the right to mount";
  catalog()->upsert(entry("early", 1));
  extras()->addService(service("early", 1));
  ASSERT_TRUE(makeReadOnly());
  const auto list = catalog();
  const auto more = extras();
  EXPECT_THAT(list->all(), SizeIs(builtinCount + 1));
  changeAll(*list, *more);
  EXPECT_EQ(failuresLogged(), 3U);
  EXPECT_THAT(catalog()->all(), SizeIs(builtinCount + 1));
  EXPECT_THAT(extras()->guiAgentBundles(), testing::IsEmpty());
}

TEST_F(AgentFiles, inAFolderThatMayNotBeWrittenChangesLastAsLongAsTheHost) {
  if (::geteuid() == 0) GTEST_SKIP() << "root may write to any folder";
  fs::create_directory(folder);
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  const auto list = catalog();
  const auto more = extras();
  changeAll(*list, *more);
  EXPECT_EQ(failuresLogged(), 3U);
  fs::permissions(folder, fs::perms::owner_all);
}

}  // namespace
}  // namespace quorl::test
