// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/TmuxTerminals.h>

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostLinux/Agents/ScreenText.h>
#include <QuorlHostLinux/Agents/TmuxText.h>
#include <QuorlHostPosix/BoundedTool.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

/// Bytes typed by one call of the tool; its message to the server holds 16 KiB, three for each byte.
constexpr std::size_t bytesPerCall = 2048;

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

std::string environmentText(const char* name) {
  const char* text = getenv(name);
  return text == nullptr ? std::string() : std::string(text);
}

std::string findProgram(std::string_view name) {
  std::string folders = environmentText("PATH");
  folders += ":/usr/bin:/usr/local/bin:/bin";
  std::string_view rest = folders;
  while (!rest.empty()) {
    const std::string_view folder = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
    if (!folder.starts_with('/')) continue;
    std::string path = fmt::format("{}/{}", folder, name);
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

enum class Listening : std::uint8_t { yes, no, unknown };

/// Whether a server listens. A server that has ended leaves its socket, and a query by the tool would cost a
/// process each time. A server that hangs accepts nobody once enough connections wait.
Listening listeningAt(const std::string& path) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  if (path.size() >= sizeof(address.sun_path)) return Listening::no;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!probe.isOpen()) return Listening::unknown;
  if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
    return Listening::yes;
  return errno == ECONNREFUSED || errno == ENOENT ? Listening::no : Listening::unknown;
}

bool isOwn(const struct stat& facts) {
  return facts.st_uid == geteuid();
}

}  // namespace

TmuxTerminals::Settings TmuxTerminals::Settings::ofThisUser() {
  std::string folder = environmentText("TMUX_TMPDIR");
  if (folder.empty()) folder = "/tmp";
  return {.program = findProgram("tmux"), .socketFolder = fmt::format("{}/tmux-{}", folder, getuid())};
}

TmuxTerminals::TmuxTerminals(Settings settings) : settings_(std::move(settings)), rests_(settings_.rest) {}

// Any user may create the folder first, so it counts only if the user owns it and no one else may write in
// it.
TmuxTerminals::Sockets TmuxTerminals::liveSockets() {
  Sockets sockets;
  struct stat facts{};
  if (settings_.program.empty()) return sockets;
  if (lstat(settings_.socketFolder.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode)) return sockets;
  if (!isOwn(facts) || (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) return sockets;
  const std::unique_ptr<DIR, CloseDirectory> folder(opendir(settings_.socketFolder.c_str()));
  if (!folder) return sockets;
  while (const dirent* entry = readdir(folder.get())) {
    if (fstatat(dirfd(folder.get()), entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (!S_ISSOCK(facts.st_mode) || !isOwn(facts)) continue;
    std::string path = fmt::format("{}/{}", settings_.socketFolder, entry->d_name);
    const Listening listening = rests_.holds(path) ? Listening::unknown : listeningAt(path);
    if (listening == Listening::yes)
      sockets.answering.push_back(std::move(path));
    else if (listening == Listening::unknown)
      sockets.silent.insert(std::move(path));
  }
  std::ranges::sort(sockets.answering);
  return sockets;
}

TmuxTerminals::Answer TmuxTerminals::ask(const std::string& socket, std::vector<std::string> command,
                                         std::string& output, const Report& report) {
  // -u: the text is UTF-8 in any locale of the host.
  command.insert(command.begin(), {settings_.program, "-u", "-S", socket});
  ToolResult result = runBoundedTool(command, settings_.limit);
  output = std::move(result.output);
  switch (result.end) {
    case ToolEnd::exited:
      if (result.exitStatus == 0) return Answer::done;
      if (result.error.find("can't find") != std::string::npos) return Answer::paneGone;
      // The server has ended in the meantime, and its panes with it.
      if (result.error.find("no server running") != std::string::npos ||
          result.error.find("error connecting") != std::string::npos ||
          result.error.find("server exited") != std::string::npos)
        return Answer::paneGone;
      report({.denied = false, .description = fmt::format("tmux error: {}", result.error)});
      return Answer::failed;
    case ToolEnd::timedOut:
      rests_.add(socket);
      break;
    case ToolEnd::notStarted:
      report({.denied = false, .description = fmt::format("tmux launch failed: {}", result.error)});
      return Answer::failed;
  }
  report({.denied = false, .description = fmt::format("tmux does not answer on {}", socket)});
  return Answer::failed;
}

void TmuxTerminals::refresh(const Report& report) {
  Panes panes;
  Sockets sockets = liveSockets();
  for (const std::string& socket : sockets.answering) {
    std::string output;
    const std::vector<std::string> command{"list-panes", "-a", "-F", std::string(TmuxText::paneFormat)};
    const Answer answer = ask(socket, command, output, report);
    if (answer == Answer::failed) sockets.silent.insert(socket);
    if (answer != Answer::done) continue;
    // A server in a container names its own terminals, and numbers its own processes.
    for (auto& [tty, pane] : TmuxText::parsePanes(output))
      if (mount_.terminalOf(pane.pid) == tty) panes[tty] = {.socket = socket, .id = std::move(pane.id)};
  }
  const std::lock_guard lock(lock_);
  // The panes of a server that does not answer still exist, but cannot be listed.
  for (const auto& [tty, pane] : panes_)
    if (sockets.silent.contains(pane.socket))
      panes.emplace(tty, Pane{.socket = pane.socket, .id = pane.id, .isReachable = false});
  panes_ = std::move(panes);
}

std::map<std::string, TerminalKind> TmuxTerminals::mapTerminals(const Report& report) {
  refresh(report);
  std::map<std::string, TerminalKind> terminals;
  const std::lock_guard lock(lock_);
  for (const auto& [tty, pane] : panes_)
    if (pane.isReachable && !rests_.holds(pane.socket)) terminals[tty] = TerminalKind::iterm;
  return terminals;
}

std::optional<TmuxTerminals::Pane> TmuxTerminals::paneOf(const std::string& tty, Lookup lookup,
                                                         const Report& report) {
  if (lookup == Lookup::fresh) refresh(report);
  const std::lock_guard lock(lock_);
  const auto pane = panes_.find(tty);
  if (pane == panes_.end()) return std::nullopt;
  return pane->second;
}

// The list may be out of date: if the pane is absent or has another terminal, the panes are listed once more.
std::optional<std::string> TmuxTerminals::readContents(const std::string& tty, TerminalKind kind,
                                                       const Report& report) {
  if (kind == TerminalKind::unknown) return std::nullopt;
  for (const Lookup lookup : {Lookup::known, Lookup::fresh}) {
    const std::optional<Pane> pane = paneOf(tty, lookup, report);
    if (!pane) continue;
    if (rests_.holds(pane->socket)) return std::nullopt;
    std::string output;
    const std::string start = fmt::format("-{}", screenLineLimit);
    const Answer answer = ask(pane->socket,
                              {"display-message", "-p", "-t", pane->id, "#{pane_tty}", ";", "capture-pane",
                               "-p", "-J", "-S", start, "-t", pane->id},
                              output, report);
    if (answer == Answer::failed) return std::nullopt;
    const std::size_t firstEnd = output.find('\n');
    if (answer == Answer::paneGone || firstEnd == std::string::npos) continue;
    const std::string_view text = output;
    if (text.substr(0, firstEnd) == tty) return screenText(text.substr(firstEnd + 1), screenLineLimit);
  }
  return std::string();
}

void TmuxTerminals::sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                             TextSubmission submission, const Report& report) {
  Bytes bytes = bytesOf(text);
  if (submission == TextSubmission::submit) bytes.push_back('\r');
  sendRaw(tty, kind, bytes, report);
}

void TmuxTerminals::sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) {
  if (kind == TerminalKind::unknown || bytes.empty()) return;
  for (const Lookup lookup : {Lookup::known, Lookup::fresh}) {
    const std::optional<Pane> pane = paneOf(tty, lookup, report);
    if (pane && (rests_.holds(pane->socket) || type(*pane, bytes, report) != Answer::paneGone)) return;
  }
}

TmuxTerminals::Answer TmuxTerminals::type(const Pane& pane, ByteView bytes, const Report& report) {
  while (!bytes.empty()) {
    const ByteView piece = bytes.first(std::min(bytes.size(), bytesPerCall));
    bytes = bytes.subspan(piece.size());
    // A pane that shows its history would take keys as commands, so it leaves that mode first.
    std::vector<std::string> command{"if-shell",
                                     "-F",
                                     "-t",
                                     pane.id,
                                     "#{pane_in_mode}",
                                     fmt::format("send-keys -t {} -X cancel", pane.id),
                                     ";",
                                     "send-keys",
                                     "-t",
                                     pane.id,
                                     "-H"};
    std::ranges::move(TmuxText::hexArguments(piece), std::back_inserter(command));
    std::string output;
    if (const Answer answer = ask(pane.socket, std::move(command), output, report); answer != Answer::done)
      return answer;
  }
  return Answer::done;
}

}  // namespace quorl
