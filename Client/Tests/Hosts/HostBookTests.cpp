// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/HostBook.h>

#include <sys/stat.h>

#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl::client {
namespace {

PairedHost host(std::string name, std::string address, std::uint16_t port = 47900) {
  return {std::move(name), std::move(address), port, UUID::random(), Bytes(32, 7)};
}

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

class HostBookTest : public testing::Test {
 protected:
  quorl::test::TemporaryFolder folder_;
  HostBook book_{folder_ / "quorl"};
};

TEST_F(HostBookTest, isEmptyWithoutAFile) {
  const auto contents = book_.load();
  ASSERT_TRUE(contents);
  EXPECT_EQ(*contents, HostBookContents{});
}

TEST_F(HostBookTest, storesAPairingReadableByItsOwnerOnly) {
  const auto paired = host("desk", "10.0.0.2", 47905);
  ASSERT_TRUE(book_.update([&](HostBookContents& contents) { contents.hosts.push_back(paired); }));
  const auto contents = HostBook(folder_ / "quorl").load();
  ASSERT_TRUE(contents);
  EXPECT_EQ(contents->hosts, std::vector{paired});
  EXPECT_EQ(modeOf(book_.path()), 0600);
  EXPECT_EQ(modeOf(book_.path().parent_path()), 0700);
}

TEST_F(HostBookTest, generatesTheDeviceIdentityOnce) {
  const auto first = book_.update([](HostBookContents&) {});
  const auto second = book_.update([](HostBookContents&) {});
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->deviceID, UUID{});
  EXPECT_EQ(first->deviceID, second->deviceID);
}

TEST_F(HostBookTest, neverOverwritesADamagedFile) {
  ASSERT_TRUE(book_.update([](HostBookContents&) {}));
  std::ofstream(book_.path()) << "{\"hosts\": [";
  const auto loaded = book_.load();
  ASSERT_FALSE(loaded);
  EXPECT_EQ(loaded.error().code, ExitCode::failure);
  EXPECT_NE(loaded.error().what.find("damaged"), std::string::npos);
  EXPECT_FALSE(book_.update([](HostBookContents&) {}));
  std::ifstream file(book_.path());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "{\"hosts\": [");
}

TEST_F(HostBookTest, findsAHostReachedThroughSSHByTheTextOfItsPairing) {
  HostBookContents contents;
  contents.hosts.push_back(host("desk", "desk", 47900));
  contents.hosts.push_back(host("far desk", "ssh://ada@desk:2222", 47905));
  const auto* found = contents.find("ssh://ada@DESK:2222?port=47905");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->name, "far desk");
  EXPECT_EQ(found->endpoint(), (HostAddress{"desk", 47905, SSHLogin{"ada", 2222}}));
  EXPECT_EQ(contents.find("desk")->endpoint(), (HostAddress{"desk", 47900, std::nullopt}));
  EXPECT_EQ(contents.find("ssh://bob@desk:2222?port=47905"), nullptr);
  EXPECT_EQ(contents.find("ssh://desk"), nullptr);
}

TEST_F(HostBookTest, doesNotRunSSHForAnAddressThatWasChangedIntoAnOption) {
  EXPECT_EQ(host("desk", "ssh://-oProxyCommand=id").endpoint().ssh, std::nullopt);
}

TEST_F(HostBookTest, leavesNoOtherFile) {
  ASSERT_TRUE(book_.update([](HostBookContents&) {}));
  ASSERT_TRUE(book_.update([](HostBookContents&) {}));
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_ / "quorl"))
    names.insert(entry.path().filename());
  EXPECT_EQ(names, (std::set<std::string>{".lock", "hosts.json"}));
}

TEST_F(HostBookTest, removesTheTemporaryFileOfAClientKilledLongAgo) {
  ASSERT_TRUE(book_.update([](HostBookContents&) {}));
  const auto left = folder_.write("quorl/.hosts.json.0011223344556677.tmp", "half a token");
  std::filesystem::last_write_time(left,
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
  ASSERT_TRUE(book_.update([](HostBookContents&) {}));
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST_F(HostBookTest, losesNoPairingWhenTwoAreMadeAtOnce) {
  const auto add = [this](int begin) {
    for (int index = begin; index < begin + 20; ++index)
      ASSERT_TRUE(HostBook(folder_ / "quorl").update([&](HostBookContents& contents) {
        contents.hosts.push_back(host(std::to_string(index), "10.0.0.1"));
      }));
  };
  std::thread other(add, 100);
  add(0);
  other.join();
  EXPECT_EQ(book_.load()->hosts.size(), 40U);
}

TEST_F(HostBookTest, reportsAFolderThatCannotBeMade) {
  std::ofstream(folder_ / "file") << "x";
  HostBook blocked(folder_ / "file" / "quorl");
  const auto updated = blocked.update([](HostBookContents&) {});
  ASSERT_FALSE(updated);
  EXPECT_NE(updated.error().what.find("quorl"), std::string::npos);
}

TEST(HostBookContents, findsAHostByAddressThenNameThenAddressAlone) {
  HostBookContents contents;
  contents.hosts = {host("Desk", "10.0.0.2"), host("lab", "desk", 47905), host("Attic", "10.0.0.9", 50000),
                    host("twin", "10.0.0.7", 1), host("twin two", "10.0.0.7", 2)};
  const auto nameOf = [&](std::string_view text) {
    const auto* found = contents.find(text);
    return found != nullptr ? found->name : "";
  };
  EXPECT_EQ(nameOf("10.0.0.2"), "Desk");
  EXPECT_EQ(nameOf("10.0.0.2:47900"), "Desk");
  EXPECT_EQ(nameOf("DESK"), "Desk");
  EXPECT_EQ(nameOf("desk:47905"), "lab");
  EXPECT_EQ(nameOf("10.0.0.9"), "Attic");
  EXPECT_EQ(nameOf("10.0.0.7"), "");
  EXPECT_EQ(nameOf("10.0.0.7:2"), "twin two");
  EXPECT_EQ(nameOf("twin two"), "twin two");
  EXPECT_EQ(nameOf("elsewhere"), "");
}

}  // namespace
}  // namespace quorl::client
