// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/KittyTerminals.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostLinux/Agents/KittyText.h>
#include <QuorlHostLinux/Agents/ProcText.h>
#include <QuorlHostLinux/Agents/ScreenText.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

/// The most bytes read of an environment.
constexpr std::size_t environmentLimit = 256 * 1024;

/// Generations between kitty and the programs in its windows, which a helper may start.
constexpr int generationLimit = 3;

enum class Owner : std::uint8_t { thisUser, anybody };

/// A file of a process's folder; empty when it cannot be read.
std::string processFile(pid_t pid, std::string_view name, Owner owner) {
  const std::string path = fmt::format("/proc/{}/{}", pid, name);
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts{};
  if (!file.isOpen() || fstat(file.get(), &facts) != 0) return {};
  if (owner == Owner::thisUser && facts.st_uid != geteuid()) return {};
  std::string text(4096, '\0');
  std::size_t size = 0;
  while (size < environmentLimit) {
    if (size == text.size()) text.resize(2 * size);
    const ssize_t count = read(file.get(), text.data() + size, text.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
  }
  text.resize(size);
  return text;
}

std::optional<ProcText::Stat> statOf(pid_t pid) {
  return ProcText::parseStat(processFile(pid, "stat", Owner::anybody));
}

bool descends(std::optional<ProcText::Stat> stat, pid_t ancestor) {
  for (int generation = 0; stat && generation < generationLimit; ++generation) {
    if (stat->parent == ancestor) return true;
    stat = statOf(stat->parent);
  }
  return false;
}

}  // namespace

KittyTerminals::KittyTerminals(Settings settings) : settings_(std::move(settings)), rests_(settings_.rest) {}

// A known instance stays known even if none of its children has the variable any more.
std::set<std::string> KittyTerminals::socketsOf(const Windows& known) const {
  std::set<std::string> sockets;
  for (const auto& [tty, window] : known) sockets.insert(window.socket);
  for (const std::int32_t pid : settings_.children())
    if (auto socket = KittyText::socketIn(processFile(pid, "environ", Owner::thisUser)))
      sockets.insert(std::move(*socket));
  return sockets;
}

void KittyTerminals::complain(const std::string& socket, std::string_view what, const Report& report) {
  {
    const std::lock_guard lock(lock_);
    if (!complainedOf_.insert(socket).second) return;
  }
  // Not reported as denied: the core's message then names settings of another system.
  report(
      {.denied = false, .description = fmt::format("kitty {} on {}", what, ProcText::commandLine(socket))});
}

KittyTerminals::Asked KittyTerminals::ask(const std::string& socket, pid_t server, const std::string& request,
                                          const Report& report) {
  ExchangeResult result = exchangeLocally(socket, request, server,
                                          {.time = settings_.limit, .answerSize = settings_.answerLimit});
  switch (result.end) {
    case ExchangeEnd::done:
      break;
    case ExchangeEnd::absent:
      return {.answer = Answer::gone};
    case ExchangeEnd::tooLong:
      return {.answer = Answer::tooLong};
    case ExchangeEnd::timedOut:
      rests_.add(socket);
      report({.denied = false,
              .description = fmt::format("kitty does not answer on {}", ProcText::commandLine(socket))});
      return {};
  }
  // Typed text has no answer, nor has a request to an instance that ends meanwhile.
  if (result.answer.empty()) return {.answer = Answer::done, .server = result.server};
  std::optional<KittyText::Reply> reply = KittyText::parseReply(result.answer);
  if (!reply) {
    complain(socket, "is not understood", report);
    return {};
  }
  if (reply->isDone) return {.answer = Answer::done, .server = result.server, .data = std::move(reply->data)};
  if (KittyText::saysWindowIsGone(reply->error)) return {.answer = Answer::gone};
  complain(socket, "refuses remote control", report);
  return {};
}

KittyTerminals::Windows KittyTerminals::windowsOn(const std::string& socket, const Windows& known,
                                                  const Report& report) {
  Windows windows;
  Asked asked;
  if (!rests_.holds(socket)) asked = ask(socket, 0, KittyText::listCommand(), report);
  if (rests_.holds(socket)) {
    // Its tabs still exist, but cannot be listed.
    for (const auto& [tty, window] : known)
      if (window.socket == socket) windows.emplace(tty, window);
    return windows;
  }
  if (asked.answer == Answer::tooLong) complain(socket, "has too many windows", report);
  if (asked.answer != Answer::done || asked.data.empty()) return windows;
  const auto listed = KittyText::parseWindows(asked.data);
  if (!listed) complain(socket, "is not understood", report);
  if (!listed) return windows;
  for (const KittyText::Window& entry : *listed) {
    const std::optional<ProcText::Stat> stat = statOf(entry.pid);
    std::string tty = mount_.terminalOf(entry.pid);
    if (tty.empty() || !descends(stat, asked.server)) continue;
    Window window{.socket = socket, .server = asked.server, .id = entry.id, .child = entry.pid};
    const auto before = known.find(tty);
    window.hasLongHistory = before != known.end() && before->second.server == window.server &&
                            before->second.id == window.id && before->second.hasLongHistory;
    windows[std::move(tty)] = std::move(window);
  }
  return windows;
}

void KittyTerminals::refresh(const Report& report) {
  Windows known;
  {
    const std::lock_guard lock(lock_);
    known = windows_;
  }
  const std::set<std::string> sockets = socketsOf(known);
  Windows windows;
  for (const std::string& socket : sockets) windows.merge(windowsOn(socket, known, report));
  const std::lock_guard lock(lock_);
  windows_ = std::move(windows);
  std::erase_if(complainedOf_, [&](const std::string& socket) { return !sockets.contains(socket); });
}

std::map<std::string, TerminalKind> KittyTerminals::mapTerminals(const Report& report) {
  refresh(report);
  std::map<std::string, TerminalKind> terminals;
  const std::lock_guard lock(lock_);
  for (const auto& [tty, window] : windows_)
    if (!rests_.holds(window.socket)) terminals[tty] = TerminalKind::iterm;
  return terminals;
}

std::optional<KittyTerminals::Window> KittyTerminals::windowOf(const std::string& tty, Lookup lookup,
                                                               const Report& report) {
  if (lookup == Lookup::fresh) refresh(report);
  Window window;
  {
    const std::lock_guard lock(lock_);
    const auto known = windows_.find(tty);
    if (known == windows_.end()) return std::nullopt;
    window = known->second;
  }
  // The list may be out of date: the device may belong to another window now.
  if (mount_.terminalOf(window.child) != tty) return std::nullopt;
  return window;
}

KittyTerminals::Asked KittyTerminals::askText(const std::string& tty, Window& window, const Report& report) {
  using KittyText::Extent;
  if (!window.hasLongHistory) {
    Asked asked = ask(window.socket, window.server,
                      KittyText::textCommand(window.id, Extent::screenAndHistory), report);
    if (asked.answer != Answer::tooLong) return asked;
    const std::lock_guard lock(lock_);
    if (const auto known = windows_.find(tty); known != windows_.end() && known->second.id == window.id)
      known->second.hasLongHistory = true;
  }
  return ask(window.socket, window.server, KittyText::textCommand(window.id, Extent::screen), report);
}

std::optional<std::string> KittyTerminals::readContents(const std::string& tty, TerminalKind kind,
                                                        const Report& report) {
  if (kind == TerminalKind::unknown) return std::nullopt;
  for (const Lookup lookup : {Lookup::known, Lookup::fresh}) {
    std::optional<Window> window = windowOf(tty, lookup, report);
    if (!window) continue;
    if (rests_.holds(window->socket)) return std::nullopt;
    const Asked asked = askText(tty, *window, report);
    if (asked.answer == Answer::done) return screenText(asked.data, screenLineLimit);
    if (asked.answer != Answer::gone) return std::nullopt;
  }
  return std::string();
}

void KittyTerminals::sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                              TextSubmission submission, const Report& report) {
  Bytes bytes = bytesOf(text);
  if (submission == TextSubmission::submit) bytes.push_back('\r');
  sendRaw(tty, kind, bytes, report);
}

void KittyTerminals::sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes,
                             const Report& report) {
  if (kind == TerminalKind::unknown || bytes.empty()) return;
  for (const Lookup lookup : {Lookup::known, Lookup::fresh}) {
    const std::optional<Window> window = windowOf(tty, lookup, report);
    if (!window) continue;
    if (rests_.holds(window->socket)) return;
    const std::string commands = KittyText::typeCommands(window->id, bytes);
    if (ask(window->socket, window->server, commands, report).answer != Answer::gone) return;
  }
}

}  // namespace quorl
