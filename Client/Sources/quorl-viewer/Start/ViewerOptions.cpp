// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/ViewerOptions.h>

#include <algorithm>
#include <array>
#include <charconv>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Session/HostAddress.h>

namespace quorl::viewer {
namespace {

using client::ExitCode;
using client::failed;
using client::Outcome;

constexpr std::string_view dialogsOption = "--dialogs";

std::unexpected<client::ClientError> misused(std::string what) {
  return failed(ExitCode::usage, std::move(what), "See 'quorl_viewer --help'.");
}

class Parser {
 public:
  explicit Parser(std::span<const std::string> words) : words_(words) {}

  Outcome<ViewerOptions> run() {
    while (!words_.empty()) {
      const auto word = take();
      if (auto done = word.starts_with('-') ? option(word) : argument(word); !done)
        return std::unexpected(done.error());
    }
    if (options_.wantsHosts && !options_.host.empty())
      return misused("--hosts and the name of a host exclude each other");
    return std::move(options_);
  }

 private:
  std::string take() {
    auto word = words_.front();
    words_ = words_.subspan(1);
    return word;
  }

  Outcome<void> option(std::string word) {
    const auto equals = word.find('=');
    const auto name = word.substr(0, equals);
    for (const auto& [known, field] : switches)
      if (word == known) {
        options_.*field = true;
        return {};
      }
    if (name != "--host" && name != "--window" && name != "--display" && name != "--app")
      return misused(fmt::format("there is no option {}", client::printable(word)));
    if (equals == std::string::npos && words_.empty()) return misused(fmt::format("{} needs a value", name));
    return valued(name, equals == std::string::npos ? take() : word.substr(equals + 1));
  }

  Outcome<void> valued(const std::string& name, const std::string& value) {
    if (value.empty()) return misused(fmt::format("{} needs a value", name));
    if (name == "--host") return host(value);
    if (name == "--app") return target(streamTarget::App{value});
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), id);
    if (error != std::errc() || end != value.data() + value.size())
      return misused(fmt::format("{} must be a number, not '{}'", name, client::printable(value)));
    return name == "--window" ? target(streamTarget::Window{id}) : target(streamTarget::Display{id});
  }

  Outcome<void> host(const std::string& value) {
    if (client::ViewerAddress::isURL(value)) return url(value);
    if (!options_.host.empty()) return misused("more than one host is named");
    options_.host = value;
    return {};
  }

  Outcome<void> target(StreamTarget value) {
    if (options_.target || options_.wanted) return misused("more than one target is named");
    options_.target = std::move(value);
    return {};
  }

  Outcome<void> argument(const std::string& word) {
    if (client::ViewerAddress::isURL(word)) return url(word);
    auto parsed = word.empty() ? std::nullopt : client::parseTarget(word);
    if (!parsed) return misused(fmt::format("'{}' is not a target", client::printable(word)));
    if (options_.target || options_.wanted) return misused("more than one target is named");
    options_.wanted = std::move(*parsed);
    return {};
  }

  Outcome<void> url(const std::string& text) {
    auto address = client::ViewerAddress::parse(text);
    if (!address)
      return failed(ExitCode::usage, fmt::format("'{}' is not an address of a host", client::printable(text)),
                    "Examples: quorl://desk.local, quorl://10.0.0.2:47905/display/2.");
    if (!options_.host.empty()) return misused("more than one host is named");
    options_.host = client::HostAddress{address->host, address->port, std::nullopt}.text();
    options_.mayPair = true;
    if (std::holds_alternative<client::viewTarget::MainDisplay>(address->target)) return {};
    if (options_.target || options_.wanted) return misused("more than one target is named");
    options_.wanted = std::move(address->target);
    return {};
  }

  struct Switch {
    std::string_view name;
    bool ViewerOptions::* field;
  };
  static constexpr std::array switches{
      Switch{"--full-screen", &ViewerOptions::isFullScreen},
      Switch{"--mute", &ViewerOptions::isMuted},
      Switch{"--hosts", &ViewerOptions::wantsHosts},
      Switch{dialogsOption, &ViewerOptions::wantsDialogs},
      Switch{"--help", &ViewerOptions::wantsHelp},
      Switch{"-h", &ViewerOptions::wantsHelp},
      Switch{"--version", &ViewerOptions::wantsVersion},
  };

  std::span<const std::string> words_;
  ViewerOptions options_;
};

}  // namespace

Outcome<ViewerOptions> ViewerOptions::parse(std::span<const std::string> words) {
  return Parser(words).run();
}

Outcome<std::optional<client::PairedHost>> chosenHost(const ViewerOptions& options,
                                                      const client::HostBookContents& contents) {
  if (options.host.empty())
    return contents.hosts.size() == 1 ? std::optional(contents.hosts.front()) : std::nullopt;
  if (const auto* host = contents.find(options.host)) return *host;
  const auto name = client::printable(options.host);
  return failed(ExitCode::refused, fmt::format("this computer is not paired with {}", name),
                fmt::format("Pair with 'quorl_client pair {}'.", name));
}

std::string viewerHelp() {
  return "usage: quorl_viewer [ADDRESS | TARGET] [options]\n"
         "\n"
         "Shows a host in a window. 'quorl_client watch' starts it in the same way.\n"
         "\n"
         "ADDRESS is quorl://HOST[:PORT][/TARGET]. TARGET is display/2, window/TITLE or app/IDENTIFIER.\n"
         "\n"
         "options:\n"
         "  --host HOST            name or address of the host; not needed if only one is paired\n"
         "  --hosts                show the list of hosts, also if only one is paired\n"
         "  --window ID            a window by its number\n"
         "  --display ID           a display by its number\n"
         "  --app ID               an application by its identifier\n"
         "  --full-screen          begin in full screen\n"
         "  --mute                 begin without sound\n"
         "  --dialogs              show errors in a window\n"
         "  --help                 show this text\n"
         "  --version              show the version";
}

bool wantsDialogs(std::span<const std::string> words) {
  return std::ranges::find(words, dialogsOption) != words.end();
}

std::vector<std::string> wordsOf(const ViewerOptions& options) {
  std::vector<std::string> words;
  if (!options.host.empty()) words = {"--host", options.host};
  if (options.target) {
    if (const auto* window = std::get_if<streamTarget::Window>(&*options.target))
      words.insert(words.end(), {"--window", std::to_string(window->id)});
    if (const auto* display = std::get_if<streamTarget::Display>(&*options.target))
      words.insert(words.end(), {"--display", std::to_string(display->id)});
    if (const auto* app = std::get_if<streamTarget::App>(&*options.target))
      words.insert(words.end(), {"--app", app->bundleID});
  }
  if (options.isFullScreen) words.emplace_back("--full-screen");
  if (options.isMuted) words.emplace_back("--mute");
  if (options.wanted) words.push_back(client::textOf(*options.wanted));
  return words;
}

}  // namespace quorl::viewer
