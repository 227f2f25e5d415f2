// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/SSHFailure.h>

#include <algorithm>
#include <initializer_list>
#include <ranges>
#include <string_view>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

// The last line that contains one of the texts; empty: none.
std::string lastWith(std::span<const std::string> lines, std::initializer_list<std::string_view> texts) {
  for (const auto& line : lines | std::views::reverse)
    if (std::ranges::any_of(texts, [&](std::string_view text) { return line.contains(text); }))
      return printable(line);
  return {};
}

}  // namespace

std::string sshCommandText(const HostAddress& address) {
  const auto login = address.ssh.value_or(SSHLogin{});
  const auto port = login.port == 0 ? std::string() : fmt::format("-p {} ", login.port);
  const auto user = login.user.empty() ? std::string() : login.user + "@";
  return fmt::format("ssh {}{}{}", port, printable(user), printable(address.host));
}

ClientError sshFailure(const HostAddress& address, std::span<const std::string> lines, int status,
                       Questions questions) {
  const auto host = printable(address.host);
  const auto command = sshCommandText(address);
  if (const auto line = lastWith(lines, {"open failed: connect failed"}); !line.empty())
    return {ExitCode::unreachable,
            fmt::format("nothing listens on port {} of {} (ssh: {})", address.port, host, line),
            fmt::format("Start Quorl Host on that computer, or add its port to the address: {}?port=N.",
                        address.textWithoutPort())};
  if (const auto line = lastWith(lines, {"administratively prohibited"}); !line.empty())
    return {ExitCode::refused, fmt::format("the ssh server of {} forwards no connections: {}", host, line),
            "Set 'AllowTcpForwarding local' in its sshd_config."};
  if (const auto line = lastWith(lines, {"Host key verification failed", "IDENTIFICATION HAS CHANGED"});
      !line.empty())
    return {ExitCode::refused, fmt::format("ssh does not trust the key of {}: {}", host, line),
            fmt::format("Run '{}' in a terminal and compare the key's fingerprint.", command)};
  if (const auto line = lastWith(
          lines, {"Permission denied", "Too many authentication failures", "No more authentication"});
      !line.empty())
    return {ExitCode::refused, fmt::format("ssh cannot log in at {}: {}", host, line),
            questions == Questions::refused
                ? "ssh cannot ask at this point: load the key with 'ssh-add', or connect again by hand."
                : fmt::format("Check the user and the key: '{}' must work.", command)};
  if (const auto line = lastWith(lines, {"Could not resolve hostname"}); !line.empty())
    return {ExitCode::unreachable, fmt::format("{} cannot be found ({})", host, line),
            "Check the spelling, or use a numeric address."};
  if (const auto line = lastWith(lines, {"Connection refused"}); !line.empty())
    return {ExitCode::unreachable, fmt::format("no ssh server answers at {}: {}", host, line),
            "Start it on that computer (package openssh-server), or check the port."};
  if (const auto line = lastWith(lines, {"timed out", "No route to host", "unreachable"}); !line.empty())
    return {ExitCode::unreachable, fmt::format("ssh cannot reach {}: {}", host, line),
            "Check that the computer is awake and that no firewall blocks the port."};
  const auto last = lines.empty() ? fmt::format("exit status {}", status) : printable(lines.back());
  return {ExitCode::unreachable, fmt::format("ssh to {} failed: {}", host, last),
          fmt::format("Run '{}' in a terminal to see why.", command)};
}

}  // namespace quorl::client
