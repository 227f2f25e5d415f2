// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlHostLinux/System/SystemLogSink.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::test {
namespace {

// Both logs listen at fixed paths, so each test runs in a process with its own mounts.
class LogListener {
 public:
  LogListener(const std::string& folder, const std::string& name) {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      return;
    std::filesystem::create_directories(folder);
    if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) != 0) return;
    socket_ = Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (folder + "/" + name).c_str());
    listening_ = ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  bool listening() const { return listening_; }
  std::string next() {
    pollfd entry{socket_.get(), POLLIN, 0};
    if (::poll(&entry, 1, 10'000) != 1) return {};
    char buffer[4096];
    const ssize_t count = ::recv(socket_.get(), buffer, sizeof buffer, 0);
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

 private:
  Descriptor socket_;
  bool listening_ = false;
};

// The namespace must not affect other tests of this program.
template <class Body>
int inChild(Body body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr int cannotMount = 77;

TEST(SystemLogSink, writesToTheJournalWithLevelAndCategory) {
  const int result = inChild([] {
    LogListener journal("/run/systemd/journal", "socket");
    if (!journal.listening()) return cannotMount;
    SystemLogSink sink;
    sink.write(LogLevel::error, "auth", "größer = 100 %s");
    const std::string entry = journal.next();
    for (const char* field : {"MESSAGE=größer = 100 %s\n", "PRIORITY=3\n", "SYSLOG_IDENTIFIER=quorl-host\n",
                              "QUORL_SUBSYSTEM=dev.vek.quorl.host\n", "QUORL_CATEGORY=auth\n"})
      if (entry.find(field) == std::string::npos) return 1;
    sink.write(LogLevel::debug, "app", "x");
    if (journal.next().find("PRIORITY=7\n") == std::string::npos) return 2;
    sink.write(LogLevel::info, "app", "x");
    return journal.next().find("PRIORITY=6\n") == std::string::npos ? 3 : 0;
  });
  if (result == cannotMount) GTEST_SKIP() << "needs the right to mount";
  EXPECT_EQ(result, 0);
}

TEST(SystemLogSink, writesToSyslogWithoutAJournal) {
  const int result = inChild([] {
    LogListener log("/dev", "log");
    if (!log.listening()) return cannotMount;
    if (::access("/run/systemd/journal/socket", F_OK) == 0 &&
        ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0)
      return cannotMount;
    SystemLogSink sink;
    sink.write(LogLevel::info, "server", "50 % off %n");
    const std::string line = log.next();
    // RFC 3164: facility user (1) and severity informational (6).
    return line.starts_with("<14>") && line.find("quorl-host[") != std::string::npos &&
                   line.ends_with("[server] 50 % off %n")
               ? 0
               : 1;
  });
  if (result == cannotMount) GTEST_SKIP() << "needs the right to mount";
  EXPECT_EQ(result, 0);
}

}  // namespace
}  // namespace quorl::test
