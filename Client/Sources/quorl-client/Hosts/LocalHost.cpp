// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/LocalHost.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <string_view>

#include <QuorlUnix/Descriptor.h>
#include <QuorlUnix/SpawnAttributes.h>

namespace quorl::client {
namespace {

constexpr std::chrono::seconds patience{2};
constexpr const char* busName = "dev.vek.quorl.host";
constexpr const char* objectPath = "/dev/vek/quorl/host";
constexpr std::size_t longestAnswer = 4096;

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};

struct TextFree {
  void operator()(char* text) const { std::free(text); }
};

/// A child that is ended and reaped with this value, so that one that hangs is not left.
class Child {
 public:
  explicit Child(pid_t process) : process_(process) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

 private:
  pid_t process_;
};

/// The program's output until it ends, or nothing if it takes too long or cannot be started.
Outcome<std::string> outputOf(std::span<const char* const> arguments, Waiter& waiter) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return std::string();
  const Descriptor output(ends[0]);
  Descriptor input(ends[1]);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const SpawnAttributes attributes;
  pid_t process = -1;
  const int error = ::posix_spawnp(&process, arguments[0], &actions, attributes.get(),
                                   const_cast<char* const*>(arguments.data()), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return std::string();
  const Child child(process);
  input.reset();
  const auto deadline = within(patience);
  std::string text;
  for (;;) {
    pollfd watched{output.get(), POLLIN, 0};
    if (const auto ready = waiter.wait({&watched, 1}, deadline); !ready)
      return std::unexpected(ready.error());
    else if (watched.revents == 0)
      return std::string();
    std::array<char, 512> part{};
    const auto count = ::read(output.get(), part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || text.size() > longestAnswer) return text;
    text.append(part.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace

std::optional<std::string> runningHostVersion() {
  sd_bus* opened = nullptr;
  if (sd_bus_open_user(&opened) < 0) return {};
  const std::unique_ptr<sd_bus, BusCloser> bus(opened);
  sd_bus_set_method_call_timeout(
      opened,
      static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(patience).count()));
  char* version = nullptr;
  if (sd_bus_get_property_string(opened, busName, objectPath, busName, "Version", nullptr, &version) < 0)
    return {};
  const std::unique_ptr<char, TextFree> owned(version);
  return std::string(version);
}

Outcome<std::optional<std::string>> installedHostVersion(Waiter& waiter) {
  constexpr std::array<const char*, 5> question{
      "dpkg-query", "--show", "--showformat=${db:Status-Status} ${Version}", "quorl-host", nullptr};
  const auto answer = outputOf(question, waiter);
  if (!answer) return std::unexpected(answer.error());
  // A removed package whose settings are kept has a version too.
  constexpr std::string_view installed = "installed ";
  if (!answer->starts_with(installed)) return std::optional<std::string>();
  return answer->substr(installed.size());
}

}  // namespace quorl::client
