// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/LocalHost.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

#include "../Support/BusService.h"
#include "../Support/CommandRun.h"
#include "../Support/SampleVideo.h"

namespace quorl::client {
namespace {

// A private session bus and a search path with a package manager of the test's own.
class LocalHostTest : public testing::Test {
 protected:
  void SetUp() override {
    std::istringstream output(
        test::outputOfTool("dbus-daemon --session --fork --print-address=1 --print-pid=1"));
    std::getline(output, bus_);
    output >> daemon_;
    ASSERT_FALSE(bus_.empty());
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus_.c_str(), 1);
    path_ = std::getenv("PATH");
    setQuery("exit 1");
  }
  void TearDown() override {
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("PATH", path_.c_str(), 1);
    if (daemon_ > 0) ::kill(daemon_, SIGTERM);
  }
  void setQuery(const std::string& script) {
    const auto program = folder_.path() / "dpkg-query";
    std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    ::setenv("PATH", (folder_.path().string() + ":" + path_).c_str(), 1);
  }
  test::CommandResult version(std::vector<std::string> words = {"version"}) { return run_(words); }

  quorl::test::TemporaryFolder folder_;
  test::CommandRun run_;
  std::string bus_;
  std::string path_;
  pid_t daemon_ = 0;
};

int readVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* version,
                sd_bus_error*) {
  return sd_bus_message_append(reply, "s", static_cast<const std::string*>(version)->c_str());
}

const sd_bus_vtable members[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("Version", "s", readVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

constexpr test::BusService::Identity identity{"dev.vek.quorl.host", "/dev/vek/quorl/host",
                                              "dev.vek.quorl.host"};

TEST_F(LocalHostTest, showsOnlyItsOwnVersionWithoutAHost) {
  const auto result = version();
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_TRUE(result.out.starts_with("client          ")) << result.out;
  EXPECT_EQ(result.out.find("host"), std::string::npos) << result.out;
}

TEST_F(LocalHostTest, showsTheRunningAndTheInstalledVersion) {
  setQuery("echo -n 'installed 1.2.4'");
  std::string running = "1.2.3";
  const test::BusService host(bus_, identity, members, &running);
  const auto result = version();
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NE(result.out.find("host, running   1.2.3\nhost, installed 1.2.4\n"), std::string::npos)
      << result.out;
}

TEST_F(LocalHostTest, writesTheVersionsAsJSON) {
  setQuery("echo -n 'installed 1.2.4'");
  const auto result = version({"version", "--json"});
  EXPECT_NE(result.out.find(R"("installedHost":"1.2.4")"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("runningHost"), std::string::npos) << result.out;
}

TEST_F(LocalHostTest, ignoresARemovedPackage) {
  setQuery("echo -n 'config-files 1.2.4'");
  EXPECT_EQ(version().out.find("installed"), std::string::npos);
}

TEST_F(LocalHostTest, doesNotWaitForAPackageManagerThatHangs) {
  setQuery("exec sleep 600");
  const auto result = version();
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_EQ(result.out.find("installed"), std::string::npos);
}

}  // namespace
}  // namespace quorl::client
