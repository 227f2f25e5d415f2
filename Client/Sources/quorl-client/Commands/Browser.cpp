// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/Browser.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <future>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include <QuorlUnix/Descriptor.h>
#include <QuorlUnix/SpawnAttributes.h>

namespace quorl::client {
namespace {

int exitStatusOf(pid_t process) {
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Another thread waits for the process and closes a pipe then; after an interruption it ends with the client.
Outcome<int> awaitExit(pid_t process, Waiter& waiter) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return exitStatusOf(process);
  const Descriptor ended(ends[0]);
  std::promise<int> promise;
  auto status = promise.get_future();
  std::thread([process, writeEnd = Descriptor(ends[1]), promise = std::move(promise)]() mutable {
    promise.set_value(exitStatusOf(process));
  }).detach();
  pollfd watched{ended.get(), POLLIN, 0};
  const auto slowNotice = std::exchange(waiter.onSlow, nullptr);
  const auto waited = waiter.wait({&watched, 1}, Deadline::max());
  waiter.onSlow = slowNotice;
  if (!waited) return std::unexpected(waited.error());
  return status.get();
}

}  // namespace

Outcome<void> openInBrowser(const std::string& url, Waiter& waiter) {
  const std::array<const char*, 3> arguments{"xdg-open", url.c_str(), nullptr};
  const SpawnAttributes attributes;
  pid_t process = -1;
  const int error = ::posix_spawnp(&process, arguments[0], nullptr, attributes.get(),
                                   const_cast<char* const*>(arguments.data()), environ);
  if (error != 0)
    return failed(ExitCode::failure, fmt::format("xdg-open cannot be started: {}", std::strerror(error)),
                  "Install the package xdg-utils, or open the URL that is printed without --browser.");
  const auto status = awaitExit(process, waiter);
  if (!status) return std::unexpected(status.error());
  if (*status != 0)
    return failed(ExitCode::failure, "xdg-open found no browser",
                  "Open the URL that is printed without --browser.");
  return {};
}

}  // namespace quorl::client
