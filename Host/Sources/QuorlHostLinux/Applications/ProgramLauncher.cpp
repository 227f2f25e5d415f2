// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Applications/ProgramLauncher.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlHostPosix/UserFolders.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

struct Prepared {
  std::vector<char*> arguments;
  std::string directory;
  std::string home;
  std::optional<rlimit> descriptorLimit;
  int report;
};

std::optional<rlimit> softDescriptorLimit(std::optional<std::uint64_t> wanted) {
  rlimit limit{};
  if (!wanted || ::getrlimit(RLIMIT_NOFILE, &limit) != 0) return std::nullopt;
  limit.rlim_cur = *wanted;
  return limit;
}

// Between fork and exec, only calls that signal-safety(7) allows.
[[noreturn]] void becomeProgram(const Prepared& prepared) {
  ::setsid();
  for (int signal = 1; signal < NSIG; ++signal) ::signal(signal, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  const int null = ::open("/dev/null", O_RDWR);
  for (int stream = 0; stream <= 2 && null >= 0; ++stream) ::dup2(null, stream);
  // Includes descriptors that a library opened without the flag. The report closes at the exec.
  ::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
  if (prepared.descriptorLimit) ::setrlimit(RLIMIT_NOFILE, &*prepared.descriptorLimit);
  if (prepared.directory.empty() || ::chdir(prepared.directory.c_str()) != 0)
    if (::chdir(prepared.home.c_str()) != 0 && ::chdir("/") != 0) ::_exit(127);
  ::execvp(prepared.arguments[0], prepared.arguments.data());
  const char failed = 1;
  [[maybe_unused]] const ssize_t ignored = ::write(prepared.report, &failed, 1);
  ::_exit(127);
}

}  // namespace

LaunchResult launchProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory,
                           std::optional<std::uint64_t> descriptorLimit) {
  const auto hasZero = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  if (arguments.empty() || std::ranges::any_of(arguments, hasZero)) return LaunchResult::failed;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return LaunchResult::failed;
  const Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  Prepared prepared{
      {}, workingDirectory, currentUserFolders().home, softDescriptorLimit(descriptorLimit), writeEnd.get()};
  for (const auto& argument : arguments) prepared.arguments.push_back(const_cast<char*>(argument.c_str()));
  prepared.arguments.push_back(nullptr);
  // Two forks: the program's parent ends at once, and the system's first process reaps the program.
  const pid_t middle = ::fork();
  if (middle < 0) return LaunchResult::failed;
  if (middle == 0) {
    const pid_t program = ::fork();
    if (program == 0) becomeProgram(prepared);
    ::_exit(program < 0 ? 1 : 0);
  }
  writeEnd.reset();
  int status = 0;
  while (::waitpid(middle, &status, 0) < 0 && errno == EINTR) continue;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return LaunchResult::failed;
  char failed = 0;
  ssize_t count = 0;
  do count = ::read(readEnd.get(), &failed, 1);
  while (count < 0 && errno == EINTR);
  return count == 0 ? LaunchResult::started : LaunchResult::failed;
}

}  // namespace quorl
