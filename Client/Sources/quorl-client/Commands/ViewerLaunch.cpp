// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/ViewerLaunch.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <limits>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Hosts/ViewerAddress.h>

namespace quorl::client {
namespace {

constexpr auto viewerName = "quorl_viewer";
constexpr auto targetExamples = "Examples: display/2, window/Notes, app/org.example.editor.";

// Where the words lead before the host is looked up.
struct Wanted {
  std::string host;    // empty: the only paired one
  std::string target;  // empty: what was watched last
};

Outcome<Wanted> fromURL(const std::string& text) {
  const auto address = ViewerAddress::parse(text);
  if (!address)
    return failed(ExitCode::usage, fmt::format("'{}' is not an address of a host", printable(text)),
                  "Examples: quorl://desk.local, quorl://10.0.0.2:47905/display/2.");
  const bool isMain = std::holds_alternative<viewTarget::MainDisplay>(address->target);
  return Wanted{HostAddress{address->host, address->port, std::nullopt}.text(),
                isMain ? std::string() : textOf(address->target)};
}

// TARGET, or a URL in its place or in that of HOST.
Outcome<Wanted> wantedOf(const Arguments& arguments) {
  const auto host = arguments.text("--host").value_or("");
  const auto word = arguments.positional().empty() ? std::string() : arguments.positional()[0];
  if (ViewerAddress::isURL(word) && arguments.has("--host"))
    return failed(ExitCode::usage, "two hosts are named: --host and a quorl:// address", "Leave one out.");
  if (ViewerAddress::isURL(word)) return fromURL(word);
  Wanted wanted{host, {}};
  if (ViewerAddress::isURL(host)) {
    auto parsed = fromURL(host);
    if (!parsed) return parsed;
    wanted = std::move(*parsed);
  }
  if (arguments.positional().empty()) return wanted;
  if (!wanted.target.empty())
    return failed(ExitCode::usage, "two targets are named: one in the address and one after it",
                  "Leave one out.");
  const auto target = word.empty() ? std::nullopt : parseTarget(word);
  if (!target)
    return failed(ExitCode::usage, fmt::format("'{}' is not a target", printable(word)), targetExamples);
  wanted.target = textOf(*target);
  return wanted;
}

// --window, --display or --app, at most one of them and no TARGET beside it.
Outcome<std::vector<std::string>> numberedTarget(const Arguments& arguments, bool hasTarget) {
  std::vector<std::string> words;
  for (const auto* option : {"--window", "--display", "--app"}) {
    const auto value = arguments.text(option);
    if (!value) continue;
    if (hasTarget || !words.empty())
      return failed(ExitCode::usage, "more than one target is named",
                    "A window shows one; leave the others out.");
    if (option == std::string_view("--app")) {
      if (value->empty()) return failed(ExitCode::usage, "--app needs an application's identifier");
    } else if (const auto number = arguments.integer(option, 0, 0, std::numeric_limits<std::uint32_t>::max());
               !number) {
      return std::unexpected(number.error());
    }
    words = {option, *value};
  }
  return words;
}

std::string folderOfProgram() {
  std::array<char, 4'096> path;
  const auto length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return {};
  return std::filesystem::path(std::string_view(path.data(), static_cast<std::size_t>(length))).parent_path();
}

// A program keeps blocked and ignored signals when it becomes another.
void restoreSignals() {
  sigset_t none;
  sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
}

}  // namespace

Outcome<std::vector<std::string>> viewerArguments(const Arguments& arguments,
                                                  const HostBookContents& contents) {
  const auto wanted = wantedOf(arguments);
  if (!wanted) return std::unexpected(wanted.error());
  auto target = numberedTarget(arguments, !wanted->target.empty());
  if (!target) return target;
  std::vector<std::string> words;
  if (!wanted->host.empty() || contents.hosts.size() == 1) {
    const auto host = chosenHost(arguments, contents, wanted->host);
    if (!host) return std::unexpected(host.error());
    words = {"--host", host->endpoint().text()};
  }
  words.insert(words.end(), target->begin(), target->end());
  for (const auto* option : {"--full-screen", "--mute"})
    if (arguments.has(option)) words.emplace_back(option);
  if (!wanted->target.empty()) words.push_back(wanted->target);
  return words;
}

ClientError becomeViewer(const std::vector<std::string>& arguments) {
  std::vector<char*> words{const_cast<char*>(viewerName)};
  for (const auto& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  restoreSignals();
  const auto beside = folderOfProgram() + "/" + viewerName;
  ::execv(beside.c_str(), words.data());
  if (errno == ENOENT) ::execvp(viewerName, words.data());
  if (errno == ENOENT)
    return {ExitCode::failure, "the viewer is not installed",
            "Install the package quorl-viewer; it puts quorl_viewer beside quorl_client."};
  return {ExitCode::failure, fmt::format("quorl_viewer cannot be started: {}", std::strerror(errno)),
          "Reinstall the package quorl-viewer."};
}

}  // namespace quorl::client
