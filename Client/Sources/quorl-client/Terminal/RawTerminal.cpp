// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/RawTerminal.h>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>
#include <csignal>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace quorl::client {
namespace {

constexpr std::size_t readSize = 65'536;
constexpr std::array crashes{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGQUIT};

// The state that the crash handler restores. It is global because a signal handler has no other access; the
// handler calls only async-signal-safe functions (POSIX).
struct SavedTerminal {
  termios modes{};
  volatile sig_atomic_t descriptor = -1;
  volatile sig_atomic_t output = -1;
  // One is written while the handler may read the other one.
  std::array<std::array<std::uint8_t, 4096>, 2> restoring{};
  std::array<volatile sig_atomic_t, 2> sizes{};
  volatile sig_atomic_t current = 0;
};
SavedTerminal savedTerminal;

void restoreAndCrash(int signal) {
  if (savedTerminal.descriptor >= 0) {
    const auto current = static_cast<std::size_t>(savedTerminal.current);
    [[maybe_unused]] const auto written =
        ::write(savedTerminal.output, savedTerminal.restoring[current].data(),
                static_cast<std::size_t>(savedTerminal.sizes[current]));
    ::tcsetattr(savedTerminal.descriptor, TCSANOW, &savedTerminal.modes);
  }
  std::signal(signal, SIG_DFL);
  ::raise(signal);
}

sigset_t terminalSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGWINCH, SIGTSTP, SIGCONT}) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

Outcome<RawTerminal> RawTerminal::enter(int input, int output) {
  RawTerminal terminal(input, output);
  if (::isatty(input) != 1 || ::tcgetattr(input, &savedTerminal.modes) != 0)
    return failed(ExitCode::usage, "standard input is not a terminal",
                  "Run attach in a terminal; scripts can use 'quorl_client prompt'.");
  const auto signals = terminalSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  terminal.signals_ = Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  terminal.setRestoring({});
  savedTerminal.output = output;
  savedTerminal.descriptor = input;
  for (const int signal : crashes) std::signal(signal, restoreAndCrash);
  terminal.makeRaw();
  return terminal;
}

RawTerminal::RawTerminal(RawTerminal&& other) noexcept
    : input_(other.input_),
      output_(other.output_),
      signals_(std::move(other.signals_)),
      isRaw_(std::exchange(other.isRaw_, false)) {
  other.input_ = -1;
}

RawTerminal::~RawTerminal() {
  if (input_ < 0) return;
  giveBack();
  savedTerminal.descriptor = -1;
  for (const int signal : crashes) std::signal(signal, SIG_DFL);
}

void RawTerminal::setRestoring(ByteView bytes) {
  const std::size_t other = savedTerminal.current == 0 ? 1 : 0;
  bytes = bytes.first(std::min(bytes.size(), savedTerminal.restoring[other].size()));
  std::ranges::copy(bytes, savedTerminal.restoring[other].begin());
  savedTerminal.sizes[other] = static_cast<sig_atomic_t>(bytes.size());
  savedTerminal.current = static_cast<sig_atomic_t>(other);
}

void RawTerminal::makeRaw() {
  termios raw = savedTerminal.modes;
  ::cfmakeraw(&raw);
  ::tcsetattr(input_, TCSANOW, &raw);
  isRaw_ = true;
}

void RawTerminal::giveBack() {
  if (!isRaw_) return;
  isRaw_ = false;
  ::tcsetattr(input_, TCSANOW, &savedTerminal.modes);
}

RawTerminal::Signals RawTerminal::takeSignals() {
  Signals result;
  signalfd_siginfo info{};
  while (::read(signals_.get(), &info, sizeof info) == sizeof info) {
    const auto number = static_cast<int>(info.ssi_signo);
    result.hasResized |= number == SIGWINCH;
    result.hasToStop |= number == SIGTSTP;
    result.hasContinued |= number == SIGCONT;
  }
  // The shell that continued this process has set its own modes.
  if (result.hasContinued) makeRaw();
  return result;
}

void RawTerminal::stopProcess() {
  giveBack();
  ::raise(SIGSTOP);
  makeRaw();
}

std::optional<TerminalSize> RawTerminal::size() const {
  winsize size{};
  for (const int descriptor : {output_, input_})
    if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
      return TerminalSize{size.ws_col, size.ws_row};
  return std::nullopt;
}

Outcome<Bytes> RawTerminal::read() {
  pollfd waiting{input_, POLLIN, 0};
  if (::poll(&waiting, 1, 0) <= 0) return Bytes();
  Bytes bytes(readSize);
  const auto count = ::read(input_, bytes.data(), bytes.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return Bytes();
  if (count <= 0) return failed(ExitCode::interrupted, "the terminal is gone");
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

Outcome<void> RawTerminal::write(ByteView bytes) {
  while (!bytes.empty()) {
    const auto count = ::write(output_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd waiting{output_, POLLOUT, 0};
      ::poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      return failed(ExitCode::interrupted, std::string("the output is closed: ") + std::strerror(errno));
    }
  }
  return {};
}

}  // namespace quorl::client
