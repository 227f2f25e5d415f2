// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/BoundedTool.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <thread>
#include <utility>

#include <QuorlHostPosix/ProcessDescriptor.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

/// How long a tool may take to end after SIGTERM, and after SIGKILL.
constexpr std::chrono::milliseconds grace{500};

struct ToolPipe {
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
    // A group of its own, so that a tool that hangs is ended with its children.
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
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
  const std::size_t room = maxToolOutput - std::min(text.size(), maxToolOutput);
  text.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
}

/// One run of a tool: its process and the streams that it writes.
class Run {
 public:
  Run(pid_t pid, Descriptor output, Descriptor error)
      : pid_(pid), process_(openProcess(pid)), output_(std::move(output)), error_(std::move(error)) {}

  /// Reads until the process has ended and nothing is left to read. What its children may write later is not
  /// waited for. Returns whether that was in time.
  bool collect(ToolResult& result, Clock::time_point deadline) {
    while (output_.isOpen() || error_.isOpen() || !hasEnded_) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return false;
      std::array<pollfd, 3> events{{{.fd = output_.get(), .events = POLLIN, .revents = 0},
                                    {.fd = error_.get(), .events = POLLIN, .revents = 0},
                                    {.fd = hasEnded_ ? -1 : process_.get(), .events = POLLIN, .revents = 0}}};
      const int count = poll(events.data(), events.size(), hasEnded_ ? 0 : static_cast<int>(left));
      if (count < 0 && errno != EINTR) return false;
      if (count == 0 && hasEnded_) return true;
      if (count <= 0) continue;
      if (events[0].revents != 0) drain(output_, result.output);
      if (events[1].revents != 0) drain(error_, result.error);
      if (events[2].revents != 0) hasEnded_ = true;
      // Without a descriptor of the process, the end of both streams is its end.
      if (!process_.isOpen() && !output_.isOpen() && !error_.isOpen()) hasEnded_ = true;
    }
    return true;
  }

  /// Ends the tool and its children, by SIGTERM and then by SIGKILL, and keeps what they still write.
  void end(ToolResult& result) {
    for (const int signal : {SIGTERM, SIGKILL}) {
      kill(-pid_, signal);
      if (collect(result, Clock::now() + grace)) break;
    }
    kill(-pid_, SIGKILL);
  }

  /// The status of waitpid(2). Absent for a process that SIGKILL does not end; a thread waits for that one.
  std::optional<int> status() const {
    int status = 0;
    const bool mustWait = !process_.isOpen() || hasEnded_;
    pid_t reaped = 0;
    do {
      reaped = waitpid(pid_, &status, mustWait ? 0 : WNOHANG);
    } while (reaped < 0 && errno == EINTR);
    if (reaped == pid_) return status;
    std::thread([pid = pid_] { waitpid(pid, nullptr, 0); }).detach();
    return std::nullopt;
  }

 private:
  const pid_t pid_;
  const Descriptor process_;
  Descriptor output_;
  Descriptor error_;
  bool hasEnded_ = false;
};

ToolResult failure(int number) {
  return {
      .end = ToolEnd::notStarted, .exitStatus = -1, .output = {}, .error = systemError(number).description};
}

}  // namespace

ToolResult runBoundedTool(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) {
  ToolPipe output;
  ToolPipe error;
  if (!output.make() || !error.make()) return failure(errno);
  pid_t pid = -1;
  if (const int number = SpawnPlan(output.writeEnd.get(), error.writeEnd.get()).spawn(pid, arguments))
    return failure(number);
  output.writeEnd.reset();
  error.writeEnd.reset();

  ToolResult result;
  Run run(pid, std::move(output.readEnd), std::move(error.readEnd));
  const bool inTime = run.collect(result, Clock::now() + limit);
  if (!inTime) run.end(result);
  const auto status = run.status();
  result.end = inTime ? ToolEnd::exited : ToolEnd::timedOut;
  if (inTime && status && WIFEXITED(*status)) result.exitStatus = WEXITSTATUS(*status);
  return result;
}

}  // namespace quorl
