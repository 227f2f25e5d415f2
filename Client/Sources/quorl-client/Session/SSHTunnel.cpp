// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/SSHTunnel.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include <QuorlUnix/SpawnAttributes.h>
#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

constexpr std::size_t keptLines = 16;
constexpr std::size_t maxLine = 1'024;
constexpr auto lineDelay = std::chrono::milliseconds(300);
constexpr auto exitPatience = std::chrono::milliseconds(500);
constexpr std::size_t maxConfiguration = 65'536;

class FileActions {
 public:
  FileActions() { ::posix_spawn_file_actions_init(&value_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  ~FileActions() { ::posix_spawn_file_actions_destroy(&value_); }

  void duplicate(int from, int to) { ::posix_spawn_file_actions_adddup2(&value_, from, to); }
  void openNull(int descriptor, int flags) {
    ::posix_spawn_file_actions_addopen(&value_, descriptor, "/dev/null", flags, 0);
  }
  const posix_spawn_file_actions_t* get() const { return &value_; }

 private:
  posix_spawn_file_actions_t value_{};
};

std::vector<std::string>& ownVariables() {
  static std::vector<std::string> variables;
  return variables;
}

// 0 or an errno. ssh stays in this process group, so that it may read the terminal and gets Ctrl-C.
int spawn(const std::vector<std::string>& arguments, const FileActions& actions, pid_t& process) {
  std::vector<char*> words{const_cast<char*>("ssh")};
  for (const auto& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  // Of two variables of a name, the first one counts.
  std::vector<char*> environment;
  for (const auto& variable : ownVariables()) environment.push_back(const_cast<char*>(variable.c_str()));
  for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
  environment.push_back(nullptr);
  const SpawnAttributes attributes;
  return ::posix_spawnp(&process, "ssh", actions.get(), attributes.get(), words.data(), environment.data());
}

std::unexpected<ClientError> cannotStart(int error) {
  return failed(ExitCode::failure, fmt::format("ssh cannot be started: {}", std::strerror(error)),
                error == ENOENT ? "Install the package openssh-client." : "");
}

void reap(pid_t process) {
  while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// What "ssh -G" prints for this destination. A failure gives an empty text: ssh itself then reports it.
Outcome<std::string> configurationOf(const HostAddress& address, Waiter& waiter, Deadline deadline) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return std::string();
  const Descriptor output(ends[0]);
  Descriptor input(ends[1]);
  FileActions actions;
  actions.openNull(STDIN_FILENO, O_RDONLY);
  actions.duplicate(input.get(), STDOUT_FILENO);
  actions.openNull(STDERR_FILENO, O_WRONLY);
  auto arguments =
      sshTunnelArguments(address, Questions::refused, "connecttimeout set\nserveraliveinterval 1\n");
  arguments.insert(arguments.begin(), "-G");
  pid_t process = -1;
  if (const int error = spawn(arguments, actions, process); error != 0) return cannotStart(error);
  input.reset();
  std::string text;
  Outcome<Waiter::Ready> ready = Waiter::Ready::yes;
  while (ready && *ready == Waiter::Ready::yes && text.size() < maxConfiguration) {
    std::array<char, 4'096> chunk;
    const auto count = ::read(output.get(), chunk.data(), chunk.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) break;
    if (count > 0) {
      text.append(chunk.data(), static_cast<std::size_t>(count));
      continue;
    }
    pollfd watched{output.get(), POLLIN, 0};
    ready = waiter.wait({&watched, 1}, deadline);
  }
  ::kill(process, SIGKILL);
  reap(process);
  if (!ready) return std::unexpected(ready.error());
  return text;
}

}  // namespace

void setSSHVariables(std::vector<std::string> variables) {
  ownVariables() = std::move(variables);
}

const std::vector<std::string>& sshVariables() {
  return ownVariables();
}

std::vector<std::string> sshTunnelArguments(const HostAddress& address, Questions questions,
                                            std::string_view configuration) {
  const auto login = address.ssh.value_or(SSHLogin{});
  std::vector<std::string> arguments{"-W", fmt::format("localhost:{}", address.port)};
  const auto add = [&](auto... words) { (arguments.emplace_back(words), ...); };
  if (login.port != 0) add("-p", std::to_string(login.port));
  if (!login.user.empty()) add("-l", login.user);
  if (questions == Questions::refused) add("-o", "BatchMode=yes");
  // ssh takes the first value that it finds, and the command line comes before the files. So each default is
  // given only if the configuration has none.
  if (!configuration.contains("connecttimeout ") || configuration.contains("connecttimeout none"))
    add("-o", "ConnectTimeout=10");
  if (!configuration.contains("serveraliveinterval ") || configuration.contains("serveraliveinterval 0\n"))
    add("-o", "ServerAliveInterval=15");
  add("--", address.host);
  return arguments;
}

Outcome<std::unique_ptr<SSHTunnel>> SSHTunnel::start(const HostAddress& address, Questions questions,
                                                     Waiter& waiter, Deadline deadline) {
  const auto configuration = configurationOf(address, waiter, deadline);
  if (!configuration) return std::unexpected(configuration.error());
  std::unique_ptr<SSHTunnel> tunnel(new SSHTunnel(address, questions));
  if (auto launched = tunnel->launch(sshTunnelArguments(address, questions, *configuration)); !launched)
    return std::unexpected(launched.error());
  return tunnel;
}

Outcome<void> SSHTunnel::launch(const std::vector<std::string>& arguments) {
  int sockets[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) return cannotStart(errno);
  socket_ = Descriptor(sockets[0]);
  const Descriptor far(sockets[1]);
  ::fcntl(socket_.get(), F_SETFL, O_NONBLOCK);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return cannotStart(errno);
  errors_ = Descriptor(ends[0]);
  const Descriptor errorInput(ends[1]);
  ::fcntl(errors_.get(), F_SETFL, O_NONBLOCK);
  FileActions actions;
  actions.duplicate(far.get(), STDIN_FILENO);
  actions.duplicate(far.get(), STDOUT_FILENO);
  actions.duplicate(errorInput.get(), STDERR_FILENO);
  if (const int error = spawn(arguments, actions, process_); error != 0) {
    process_ = -1;
    return cannotStart(error);
  }
  processDescriptor_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
  return {};
}

SSHTunnel::~SSHTunnel() {
  if (process_ < 0 || status_) return;
  // The end of its input ends ssh after it has sent everything.
  socket_.reset();
  if (waitForExit(exitPatience)) return;
  ::kill(process_, SIGTERM);
  if (waitForExit(exitPatience)) return;
  ::kill(process_, SIGKILL);
  reap(process_);
}

bool SSHTunnel::waitForExit(Clock::duration patience) {
  if (status_) return true;
  const auto deadline = within(patience);
  pollfd watched{processDescriptor_.get(), POLLIN, 0};
  for (;;) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    const int ready = ::poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(rest, 0)));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    break;
  }
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return true;
}

void SSHTunnel::readErrors() {
  std::array<char, 4'096> chunk;
  for (;;) {
    const auto count = ::read(errors_.get(), chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return;
    if (count <= 0) {
      errors_.reset();
      if (!partialLine_.empty()) takeLine(std::exchange(partialLine_, {}));
      return;
    }
    for (const char character : std::string_view(chunk.data(), static_cast<std::size_t>(count))) {
      if (character == '\n')
        takeLine(std::exchange(partialLine_, {}));
      else if (character != '\r' && partialLine_.size() < maxLine)
        partialLine_ += character;
    }
  }
}

void SSHTunnel::takeLine(std::string line) {
  if (line.empty()) return;
  if (shows_) unshown_.push_back({line, Clock::now()});
  lastLines_.push_back(std::move(line));
  if (lastLines_.size() > keptLines) lastLines_.pop_front();
  if (unshown_.size() > keptLines) showDueLines(Clock::time_point::max());
}

std::optional<Deadline> SSHTunnel::nextLineDue() const {
  if (unshown_.empty()) return std::nullopt;
  return unshown_.front().arrival + lineDelay;
}

void SSHTunnel::showDueLines(Clock::time_point now) {
  for (; !unshown_.empty() && unshown_.front().arrival <= now - lineDelay; unshown_.pop_front()) {
    const auto text = printable(unshown_.front().text) + "\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
  }
}

std::optional<ClientError> SSHTunnel::failure() {
  const bool hasEnded = waitForExit(std::chrono::seconds(1));
  if (errors_.isOpen()) readErrors();
  if (hasEnded && *status_ == 0) return std::nullopt;
  const std::vector<std::string> lines(lastLines_.begin(), lastLines_.end());
  return sshFailure(address_, lines, status_.value_or(-1), questions_);
}

}  // namespace quorl::client
