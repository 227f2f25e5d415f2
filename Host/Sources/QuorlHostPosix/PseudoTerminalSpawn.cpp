// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalSpawn.h>

#include <fcntl.h>
#include <locale.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include <set>
#include <string_view>

#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

constexpr int firstPrivateDescriptor = 3;

std::unexpected<PseudoTerminalError> failed(PseudoTerminalStep step, int error) {
  return std::unexpected(PseudoTerminalError{step, systemError(error)});
}

struct TerminalPair {
  Descriptor master;
  Descriptor slave;
  std::string deviceName;
};

// POSIX.1-2017, posix_openpt, grantpt, unlockpt.
std::expected<TerminalPair, int> openPair(std::uint16_t columns, std::uint16_t rows) {
  TerminalPair pair;
  pair.master = Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
  if (!pair.master.isOpen()) return std::unexpected(errno);
  std::array<char, 128> name{};
  if (::grantpt(pair.master.get()) != 0 || ::unlockpt(pair.master.get()) != 0 ||
      ::ptsname_r(pair.master.get(), name.data(), name.size()) != 0)
    return std::unexpected(errno);
  pair.deviceName = name.data();
  pair.slave = Descriptor(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!pair.slave.isOpen()) return std::unexpected(errno);
  const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  if (::ioctl(pair.master.get(), TIOCSWINSZ, &size) != 0) return std::unexpected(errno);
  termios modes{};
  if (::tcgetattr(pair.slave.get(), &modes) == 0) {
    modes.c_iflag |= IUTF8;  // erasing takes a whole character
    ::tcsetattr(pair.slave.get(), TCSANOW, &modes);
  }
  return pair;
}

// POSIX.1-2017, posix_spawn; the calls that end in _np and SETSID are also in glibc and on the Mac.
class SpawnPlan {
 public:
  SpawnPlan() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }

  // The first terminal that the leader of a new session opens becomes its controlling terminal.
  void useTerminal(const std::string& deviceName) {
    ::posix_spawn_file_actions_addopen(&actions_, 0, deviceName.c_str(), O_RDWR, 0);
    ::posix_spawn_file_actions_adddup2(&actions_, 0, 1);
    ::posix_spawn_file_actions_adddup2(&actions_, 0, 2);
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, firstPrivateDescriptor);
  }
  void changeDirectory(const std::string& directory) {
    ::posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str());
  }
  void beSessionLeaderWithDefaultSignals() {
    sigset_t all;
    sigset_t none;
    ::sigfillset(&all);
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigdefault(&attributes_, &all);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  int run(pid_t& pid, std::vector<std::string> arguments, std::vector<std::string> environment) const {
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> result;
      for (std::string& text : texts) result.push_back(text.data());
      result.push_back(nullptr);
      return result;
    };
    return ::posix_spawn(&pid, arguments.front().c_str(), &actions_, &attributes_, pointers(arguments).data(),
                         pointers(environment).data());
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

// posix_spawn sets no limits, and a limit of this process applies to all its threads. So a shell sets the
// limit and executes the requested shell, in the same process and with the same arguments.
std::vector<std::string> shellArguments(const std::string& shell, const std::string& command,
                                        std::optional<std::uint64_t> descriptorLimit) {
  std::vector<std::string> arguments{shell, "-l", "-c", command};
  if (!descriptorLimit) return arguments;
  arguments.insert(arguments.begin(), {"/bin/sh", "-c", "ulimit -Sn \"$0\" 2>/dev/null; exec \"$@\"",
                                       std::to_string(*descriptorLimit)});
  return arguments;
}

std::string_view baseName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

std::string accountShell() {
  std::array<char, 16'384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return {};
  return found->pw_shell != nullptr ? found->pw_shell : "";
}

}  // namespace

std::expected<SpawnedTerminal, PseudoTerminalError> spawnOnTerminal(
    const PseudoTerminalRequest& request, const std::string& shell,
    std::optional<std::uint64_t> descriptorLimit) {
  auto pair = openPair(request.columns, request.rows);
  if (!pair) return failed(PseudoTerminalStep::openTerminal, pair.error());
  SpawnPlan plan;
  plan.useTerminal(pair->deviceName);
  plan.changeDirectory(request.workingDirectory);
  plan.beSessionLeaderWithDefaultSignals();
  SpawnedTerminal spawned;
  // This side's slave stays open until the child has opened its own: a terminal that no process has open
  // reads as ended.
  const int result =
      plan.run(spawned.pid, shellArguments(shell, request.command, descriptorLimit),
               withUsableLocale(environmentWith(environ, request.environment), isLocaleInstalled));
  if (result != 0) return failed(PseudoTerminalStep::spawn, result);
  spawned.master = std::move(pair->master);
  spawned.deviceName = std::move(pair->deviceName);
  return spawned;
}

std::string chooseShell(const std::string& accountShell,
                        const std::function<bool(const std::string&)>& isExecutable) {
  std::string zsh = "/bin/zsh";
  if (isExecutable(zsh)) return zsh;
  // The C shells accept "-l" only alone; the others run no commands.
  static const std::set<std::string_view> unsuitable = {"nologin", "false", "csh", "tcsh"};
  if (!accountShell.empty() && !unsuitable.contains(baseName(accountShell)) && isExecutable(accountShell))
    return accountShell;
  return "/bin/sh";
}

std::string shellForAgents() {
  return chooseShell(accountShell(),
                     [](const std::string& path) { return ::access(path.c_str(), X_OK) == 0; });
}

std::vector<std::string> environmentWith(const char* const* inherited,
                                         const std::map<std::string, std::string>& additions) {
  std::vector<std::string> result;
  for (const char* const* entry = inherited; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (!additions.contains(text.substr(0, text.find('=')))) result.push_back(text);
  }
  for (const auto& [name, value] : additions) result.push_back(name + "=" + value);
  return result;
}

bool isLocaleInstalled(const std::string& name) {
  const locale_t locale = ::newlocale(LC_ALL_MASK, name.c_str(), nullptr);
  if (locale == nullptr) return false;
  ::freelocale(locale);
  return true;
}

std::vector<std::string> withUsableLocale(std::vector<std::string> environment,
                                          const std::function<bool(const std::string&)>& isInstalled) {
  const auto valueOf = [&](std::string_view name) {
    std::string value;
    for (const std::string& entry : environment)
      if (entry.starts_with(name) && entry.size() > name.size() && entry[name.size()] == '=')
        value = entry.substr(name.size() + 1);
    return value;
  };
  const std::string fallback = "C.UTF-8";
  const std::string language = valueOf("LANG");
  if (!valueOf("LC_ALL").empty() || language.empty() || isInstalled(language) || !isInstalled(fallback))
    return environment;
  std::erase_if(environment, [](const std::string& entry) { return entry.starts_with("LC_ALL="); });
  environment.push_back("LC_ALL=" + fallback);
  return environment;
}

}  // namespace quorl
