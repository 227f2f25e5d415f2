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

/// A child that runs on a terminal of its own, seen from this side.
struct SpawnedTerminal {
  Descriptor master;  // non-blocking
  std::string deviceName;
  pid_t pid = -1;  // nobody has waited for it
};

/// Opens a terminal and starts the request's command on it with `shell`. May be called from any thread.
/// `descriptorLimit`: the soft limit of open descriptors that it starts with; by default this process's.
std::expected<SpawnedTerminal, PseudoTerminalError> spawnOnTerminal(
    const PseudoTerminalRequest& request, const std::string& shell,
    std::optional<std::uint64_t> descriptorLimit = {});

/// The shell that agents are started with: zsh where it is installed, since its login files are where people
/// who use it set their PATH; else the account's own shell where it is one that takes "-l -c"; else sh.
std::string chooseShell(const std::string& accountShell,
                        const std::function<bool(const std::string&)>& isExecutable);
/// The same for the user that this process runs as.
std::string shellForAgents();

/// "NAME=value" texts: those of `inherited`, with `additions` in place of the ones of the same name.
std::vector<std::string> environmentWith(const char* const* inherited,
                                         const std::map<std::string, std::string>& additions);

/// Where the language that programs are given is not installed, they would all fall back to the C locale,
/// which knows no UTF-8: then LC_ALL says C.UTF-8, unless it says something already.
std::vector<std::string> withUsableLocale(std::vector<std::string> environment,
                                          const std::function<bool(const std::string&)>& isInstalled);
bool isLocaleInstalled(const std::string& name);

}  // namespace quorl
