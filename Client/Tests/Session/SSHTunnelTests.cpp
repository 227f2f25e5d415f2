// SPDX-License-Identifier: GPL-3.0-or-later
// A session through a program named ssh in place of the real one.
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-client/Session/Handshake.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using testing::HasSubstr;

class SSHTunnelTest : public testing::Test {
 protected:
  void SetUp() override { ::setenv("PATH", (bin_ + ":" + path_).c_str(), 1); }
  void TearDown() override { ::setenv("PATH", path_.c_str(), 1); }

  // "ssh -G" prints nothing; anything else runs the script.
  void replaceSSH(const std::string& script) {
    const auto program = bin_ + "/ssh";
    std::ofstream(program) << "#!/bin/bash\necho $$ >> " << pids() << "\n[ \"$1\" = -G ] && exit 0\n"
                           << script << "\n";
    ::chmod(program.c_str(), 0755);
  }
  // Connects to the host's port on this computer.
  void replaceSSHByARelay() {
    replaceSSH(
        "port=${2#localhost:}\nexec 3<>/dev/tcp/127.0.0.1/$port || exit 255\ncat <&3 &\ncat >&3\nkill $!");
  }
  std::string pids() const { return bin_ + "/pids"; }
  std::vector<pid_t> startedProcesses() const {
    std::ifstream file(pids());
    std::vector<pid_t> found;
    for (pid_t process = 0; file >> process;) found.push_back(process);
    return found;
  }
  static HostAddress through(const FakeHost& host) { return {"desk", host.port(), SSHLogin{"ada", 2222}}; }
  PairedHost pairedThrough(FakeHost& host) {
    auto paired = host.pairedHost();
    paired.address = through(host).textWithoutPort();
    return paired;
  }
  static bool hasNoChild() { return ::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }

  CommandRun run_;
  const std::string path_ = std::getenv("PATH");
  const std::string bin_ = run_.folder().path().string();
};

TEST_F(SSHTunnelTest, carriesTheCommandsAndEndsWithTheSession) {
  replaceSSHByARelay();
  FakeHost host({});
  run_.addHost(pairedThrough(host));
  const auto result = run_({"echo", through(host).text(), "--count", "3"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.out, HasSubstr("3 of 3 echoes"));
  EXPECT_TRUE(hasNoChild());
}

TEST_F(SSHTunnelTest, pairsAndKeepsTheAddressAsItWasWritten) {
  replaceSSHByARelay();
  FakeHost host({});
  const auto address = through(host).text();
  const auto paired = run_({"pair", address, "--pin", "012345"});
  ASSERT_EQ(paired.code, ExitCode::ok) << paired.notes;
  EXPECT_THAT(run_({"hosts"}).out, HasSubstr(address));
  const auto again = run_({"echo", address, "--count", "1"});
  EXPECT_EQ(again.code, ExitCode::ok) << again.notes;
}

TEST_F(SSHTunnelTest, receivesPicturesOnTheConnectionInsteadOfAsDatagrams) {
  replaceSSHByARelay();
  FakeHost host({.video = &test::SampleVideo::shortClip()});
  run_.addHost(pairedThrough(host));
  const auto result =
      run_({"shot", (run_.folder() / "a.png").string(), "--udp", "--host", through(host).text()});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.notes, HasSubstr("--udp has no effect"));
  EXPECT_TRUE(host.messagesOf<message::VideoTransport>().empty());
}

TEST_F(SSHTunnelTest, reportsTheLastWordsOfSSHInOneLine) {
  replaceSSH("echo 'Warning: something' >&2\necho 'ada@desk: Permission denied (publickey).' >&2\nexit 255");
  FakeHost host({});
  run_.addHost(pairedThrough(host));
  const auto result = run_({"echo", through(host).text()});
  EXPECT_EQ(result.code, ExitCode::refused);
  EXPECT_THAT(
      result.notes,
      HasSubstr("quorl_client: ssh cannot log in at desk: ada@desk: Permission denied (publickey).\n"));
  EXPECT_THAT(result.notes, HasSubstr("'ssh -p 2222 ada@desk' must work"));
  EXPECT_TRUE(hasNoChild());
}

TEST_F(SSHTunnelTest, saysWhichPackageHasSSH) {
  ::setenv("PATH", bin_.c_str(), 1);
  FakeHost host({});
  run_.addHost(pairedThrough(host));
  const auto result = run_({"echo", through(host).text()});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_THAT(result.notes, HasSubstr("openssh-client"));
}

TEST_F(SSHTunnelTest, endsASilentSSHAtTheDeadline) {
  replaceSSH("exec cat > /dev/null");
  FakeHost host({});
  run_.addHost(pairedThrough(host));
  // A person cannot answer here, whatever terminal the test has.
  Waiter waiter;
  const auto session =
      Session::connect(through(host), waiter, within(std::chrono::milliseconds(300)), Questions::refused);
  ASSERT_FALSE(session);
  EXPECT_EQ(session.error().code, ExitCode::unreachable);
  EXPECT_TRUE(hasNoChild());
}

TEST_F(SSHTunnelTest, endsAndReapsAnSSHThatIgnoresTheEndOfItsInput) {
  replaceSSH("trap '' TERM\nexec sleep 1000");
  FakeHost host({});
  const Descriptor interruption(::eventfd(0, EFD_CLOEXEC));
  std::thread person([&] {
    // The first process is that of "ssh -G".
    const auto deadline = within(std::chrono::seconds(30));
    while (startedProcesses().size() < 2 && Clock::now() < deadline) std::this_thread::yield();
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  });
  Waiter waiter(interruption.get());
  const auto session = Session::connect(through(host), waiter, within(std::chrono::seconds(60)));
  person.join();
  ASSERT_FALSE(session);
  EXPECT_EQ(session.error().code, ExitCode::interrupted);
  EXPECT_TRUE(hasNoChild());
}

TEST_F(SSHTunnelTest, reportsAnSSHThatDiesDuringTheSession) {
  replaceSSH(
      "trap 'echo \"Timeout, server desk not responding.\" >&2; kill $(jobs -p); exit 255' USR1\n"
      "port=${2#localhost:}\nexec 3<>/dev/tcp/127.0.0.1/$port\nexec 4<&0\ncat <&3 &\ncat <&4 >&3 &\nwait");
  FakeHost host({});
  Waiter waiter;
  auto session = Session::connect(through(host), waiter, within(std::chrono::seconds(30)));
  ASSERT_TRUE(session) << session.error().what;
  // An answer shows that the script has set its trap.
  ASSERT_TRUE(greet(**session, DeviceInfo{"test", "test", "test", UUID{}}, within(std::chrono::seconds(30))));
  const auto processes = startedProcesses();
  ASSERT_EQ(processes.size(), 2U);
  ::kill(processes[1], SIGUSR1);
  const auto ended = (*session)->nextControl(within(std::chrono::seconds(30)));
  ASSERT_FALSE(ended);
  EXPECT_THAT(ended.error().what, HasSubstr("not responding"));
}

}  // namespace
}  // namespace quorl::client
