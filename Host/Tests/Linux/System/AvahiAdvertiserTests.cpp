// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include <Linux/System/PrivateBus.h>
#include <QuorlHostLinux/System/AvahiAdvertiser.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

constexpr const char* type = "_quorl._tcp";

// A real responder that speaks on the loopback only.
class AvahiDaemon {
 public:
  explicit AvahiDaemon(const TemporaryFolder& folder) {
    std::ofstream(folder / "avahi.conf")
        << "[server]\nhost-name=quorltest\nallow-interfaces=lo\nuse-ipv6=no\n"
           "enable-dbus=yes\nratelimit-interval-usec=0\n[publish]\n"
           "publish-workstation=no\n";
    daemon_ = std::make_unique<ChildProgram>(std::vector<std::string>{
        "avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "-f", folder.file("avahi.conf")});
    started_ = daemon_->waitForOutput("Server startup complete", std::chrono::seconds(30));
  }
  bool started() const { return started_; }
  const std::string& output() { return daemon_->output(); }
  ~AvahiDaemon() {
    daemon_->signal(SIGTERM);
    daemon_->waitForExit();
  }

 private:
  std::unique_ptr<ChildProgram> daemon_;
  bool started_ = false;
};

class AvahiAdvertiserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "avahi-daemon must be started by root";
    if (!hasProgram("avahi-daemon") || !hasProgram("avahi-browse")) GTEST_SKIP() << "no avahi here";
    if (std::filesystem::exists("/run/avahi-daemon/pid")) GTEST_SKIP() << "the machine's own responder runs";
    ASSERT_TRUE(bus.isRunning());
  }

  static bool isSeen(const std::string& line) {
    // -t ends after the known services, -p prints for parsing, -r resolves.
    return outputOf({"avahi-browse", "-rpt", type}).find(line) != std::string::npos;
  }
  static bool becomesSeen(const std::string& line) {
    return eventually([&] { return isSeen(line); }, std::chrono::seconds(30));
  }

  PrivateBus bus;
  TemporaryFolder folder;
};

TEST_F(AvahiAdvertiserTest, registersAndWithdrawsAService) {
  AvahiDaemon daemon(folder);
  ASSERT_TRUE(daemon.started()) << daemon.output();
  AvahiAdvertiser advertiser;
  auto registration = advertiser.advertise("Quorl Test", type, 47911);
  EXPECT_TRUE(becomesSeen("=;lo;IPv4;Quorl\\032Test;_quorl._tcp;local;quorltest.local;127.0.0.1;47911;\n"))
      << outputOf({"avahi-browse", "-rpt", type});
  registration.reset();
  EXPECT_TRUE(eventually([&] { return !isSeen("Quorl\\032Test"); }, std::chrono::seconds(30)));
}

TEST_F(AvahiAdvertiserTest, takesAnAlternativeNameIfTheNameIsTaken) {
  AvahiDaemon daemon(folder);
  ASSERT_TRUE(daemon.started()) << daemon.output();
  AvahiAdvertiser first;
  AvahiAdvertiser second;
  const auto one = first.advertise("Twin", type, 47912);
  ASSERT_TRUE(becomesSeen(";Twin;_quorl._tcp;"));
  const auto two = second.advertise("Twin", type, 47913);
  EXPECT_TRUE(becomesSeen(";Twin\\032\\0352;_quorl._tcp;")) << outputOf({"avahi-browse", "-pt", type});
}

TEST_F(AvahiAdvertiserTest, registersAgainWhenTheResponderIsRestartedOrComesLate) {
  AvahiAdvertiser advertiser;
  const auto registration = advertiser.advertise("Late", type, 47914);
  for (int round = 0; round < 2; ++round) {
    AvahiDaemon daemon(folder);
    ASSERT_TRUE(daemon.started()) << daemon.output();
    EXPECT_TRUE(becomesSeen(";Late;_quorl._tcp;")) << "round " << round;
  }
}

TEST(AvahiAdvertiser, isHarmlessWithoutABus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  {
    AvahiAdvertiser advertiser;
    const auto registration = advertiser.advertise("Nobody", type, 1);
    EXPECT_TRUE(registration);
  }
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST(ServiceInstanceLabel, isCutToSixtyThreeBytesBetweenCharacters) {
  EXPECT_EQ(serviceInstanceLabel("Küche"), "Küche");
  EXPECT_EQ(serviceInstanceLabel(std::string(70, 'x')), std::string(63, 'x'));
  EXPECT_EQ(serviceInstanceLabel(std::string(62, 'x') + "ü"), std::string(62, 'x'));
  EXPECT_EQ(serviceInstanceLabel(std::string(61, 'x') + "ü"), std::string(61, 'x') + "ü");
}

}  // namespace
}  // namespace quorl::test
