// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/BoundedTool.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include <QuorlHostLinux/Kernel/ProcessDescriptor.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t outputLimit = 4 * 1024 * 1024;

struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;

  bool make() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
    return true;
  }
};

/// The setup of the child before the program starts.
class SpawnPlan {
 public:
  SpawnPlan(int output, int error) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, output, 1);
    posix_spawn_file_actions_adddup2(&actions_, error, 2);
    posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }

  int spawn(pid_t& pid, const std::vector<std::string>& arguments) const {
    std::vector<char*> texts;
    for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    return posix_spawn(&pid, texts.front(), &actions_, &attributes_, texts.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

/// Reads what is available. Closes the descriptor at the end of the file.
void drain(Descriptor& descriptor, std::string& text) {
  std::array<char, 65'536> buffer;
  const ssize_t count = read(descriptor.get(), buffer.data(), buffer.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    descriptor.reset();
    return;
  }
  const std::size_t room = outputLimit - std::min(text.size(), outputLimit);
  text.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
}

/// Reads both streams until they and the program end. Returns whether that was in time.
bool collect(Descriptor& output, Descriptor& error, int process, ToolResult& result,
             Clock::time_point deadline) {
  bool hasEnded = process < 0;
  while (output.isOpen() || error.isOpen() || !hasEnded) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    std::array<pollfd, 3> events{{{.fd = output.get(), .events = POLLIN, .revents = 0},
                                  {.fd = error.get(), .events = POLLIN, .revents = 0},
                                  {.fd = hasEnded ? -1 : process, .events = POLLIN, .revents = 0}}};
    if (poll(events.data(), events.size(), static_cast<int>(left)) < 0 && errno != EINTR) return false;
    if (events[0].revents != 0) drain(output, result.output);
    if (events[1].revents != 0) drain(error, result.error);
    if (events[2].revents != 0) hasEnded = true;
  }
  return true;
}

ToolResult failure(int number) {
  return {
      .end = ToolEnd::notStarted, .exitStatus = -1, .output = {}, .error = systemError(number).description};
}

}  // namespace

ToolResult runBoundedTool(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) {
  Pipe output;
  Pipe error;
  if (!output.make() || !error.make()) return failure(errno);
  pid_t pid = -1;
  if (const int number = SpawnPlan(output.writeEnd.get(), error.writeEnd.get()).spawn(pid, arguments))
    return failure(number);
  output.writeEnd.reset();
  error.writeEnd.reset();

  ToolResult result;
  const Descriptor process = openProcess(pid);
  const bool inTime = collect(output.readEnd, error.readEnd, process.get(), result, Clock::now() + limit);
  if (!inTime) kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  result.end = inTime ? ToolEnd::exited : ToolEnd::timedOut;
  if (inTime && WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
  return result;
}

}  // namespace quorl
