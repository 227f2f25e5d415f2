// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/signalfd.h>
#include <unistd.h>
#include <csignal>

#include <string_view>
#include <vector>

#include <fmt/format.h>

#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Video/Decoder.h>

namespace {

// Turns the signals that end the process into a readable descriptor, so that they end a wait and not a write,
// and every command restores what it changed. Must run before any thread starts.
quorl::Descriptor signalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  return quorl::Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quorl::client;
  const auto interruptions = signalDescriptor();
  silenceMediaLibraries();
  StandardOutput output;
  Waiter waiter(interruptions.get());
  waiter.onSlow = [&](const std::string& activity, Clock::duration waited) {
    output.progress(
        fmt::format("{} ({} s)", activity, std::chrono::duration_cast<std::chrono::seconds>(waited).count()));
  };
  const auto folder = HostBook::defaultFolder();
  if (!folder) {
    output.note("quorl_client: " + folder.error().what);
    output.note("  " + folder.error().advice);
    return static_cast<int>(folder.error().code);
  }
  CommandContext context{output, HostBook(*folder), waiter, STDIN_FILENO};
  const std::vector<std::string_view> words(argv + 1, argv + argc);
  return static_cast<int>(runCommandLine(words, context));
}
