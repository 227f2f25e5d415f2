// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Upgrade/ProgramStart.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include <fmt/format.h>

#include <QuorlHostPosix/ProcessDescriptor.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/SpawnAttributes.h>

namespace quorl {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The child has the standard streams, without input, and the file; its signals have their default action.
int spawn(pid_t& pid, ProgramStart program, int file) {
  posix_spawn_file_actions_t actions{};
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, file, trialDescriptor);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, trialDescriptor + 1);
  const SpawnAttributes attributes(POSIX_SPAWN_SETSID);
  const int error =
      ::posix_spawn(&pid, program.path.c_str(), &actions, attributes.get(),
                    pointersTo(program.arguments).data(), pointersTo(program.environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  return error;
}

enum class Wait { ended, timedOut, cancelled };

Wait waitForEnd(pid_t pid, std::chrono::milliseconds limit, int cancel) {
  const Descriptor process = openProcess(pid);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0) return Wait::timedOut;
    pollfd entries[] = {{process.get(), POLLIN, 0}, {cancel, POLLIN, 0}};
    if (::poll(entries, 2, static_cast<int>(left)) < 0) continue;
    if (entries[0].revents) return Wait::ended;
    if (entries[1].revents) return Wait::cancelled;
  }
}

TrialAnswer judge(int status, int accepted) {
  if (WIFSIGNALED(status)) return {false, fmt::format("it was ended by signal {}", WTERMSIG(status))};
  if (WEXITSTATUS(status) == accepted) return {true, {}};
  return {false, fmt::format("it exited with status {}", WEXITSTATUS(status))};
}

void setCloseOnExec(const std::vector<int>& descriptors, int flag) {
  for (const int descriptor : descriptors) ::fcntl(descriptor, F_SETFD, flag);
}

}  // namespace

TrialAnswer tryProgram(const ProgramStart& program, int file, int accepted, std::chrono::milliseconds limit,
                       int cancel) {
  pid_t pid = -1;
  if (const int error = spawn(pid, program, file); error != 0)
    return {false, "it cannot be started: " + systemError(error).description};
  const Wait wait = waitForEnd(pid, limit, cancel);
  // Its whole session, in case it has started programs.
  if (wait != Wait::ended) ::kill(-pid, SIGKILL);
  ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  switch (wait) {
    case Wait::ended:
      return judge(status, accepted);
    case Wait::timedOut:
      return {false, "it did not answer in time"};
    case Wait::cancelled:
      return {false, "the host is ending"};
  }
  return {};
}

int replaceProcess(const ProgramStart& program, const std::vector<int>& kept) {
  ProgramStart own = program;
  setCloseOnExec(kept, 0);
  ::execve(own.path.c_str(), pointersTo(own.arguments).data(), pointersTo(own.environment).data());
  const int error = errno;
  setCloseOnExec(kept, FD_CLOEXEC);
  return error;
}

}  // namespace quorl
