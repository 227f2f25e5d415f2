// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A child on a terminal of its own, and this side of the terminal.
struct SpawnedTerminal {
  Descriptor master;  // non-blocking
  std::string deviceName;
  pid_t pid = -1;  // not yet waited for
};

/// Opens a terminal and starts the request's command on it with `shell`. May be called from any thread.
/// `descriptorLimit`: its soft limit of open descriptors, by default that of this process.
std::expected<SpawnedTerminal, PseudoTerminalError> spawnOnTerminal(
    const PseudoTerminalRequest& request, const std::string& shell,
    std::optional<std::uint64_t> descriptorLimit = {});

/// The shell that agents are started with: zsh if it is installed, because its users set PATH in its login
/// files; else the account's shell if it accepts "-l -c"; else sh.
std::string chooseShell(const std::string& accountShell,
                        const std::function<bool(const std::string&)>& isExecutable);
/// The same for the user that this process runs as.
std::string shellForAgents();

/// "NAME=value" texts: those of `inherited`, with `additions` in place of the ones of the same name.
std::vector<std::string> environmentWith(const char* const* inherited,
                                         const std::map<std::string, std::string>& additions);

/// If the configured locale is not installed, programs would fall back to the C locale, which lacks UTF-8.
/// Then LC_ALL is set to C.UTF-8, unless it is set already.
std::vector<std::string> withUsableLocale(std::vector<std::string> environment,
                                          const std::function<bool(const std::string&)>& isInstalled);
bool isLocaleInstalled(const std::string& name);

}  // namespace quorl
