// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include <fmt/format.h>

#include <QuorlHostCore/Text/RegularExpression.h>
#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

struct AgentPattern {
  std::span<const std::string_view> binaries;  // program names
  std::span<const std::string_view> modules;   // Python modules
  std::string_view name;
};

constexpr std::array<std::string_view, 1> claude{"claude"}, codex{"codex"}, openCode{"opencode"},
    aider{"aider"}, ollama{"ollama"}, goose{"goose"}, hermes{"hermes"}, openClaw{"openclaw"},
    cursorAgent{"cursor-agent"}, llm{"llm"}, gpt{"gpt"};

// In the order of matching.
constexpr std::array<AgentPattern, 11> patterns{{
    {.binaries = claude, .modules = {}, .name = "Claude"},
    {.binaries = codex, .modules = codex, .name = "Codex"},
    {.binaries = openCode, .modules = openCode, .name = "OpenCode"},
    {.binaries = aider, .modules = aider, .name = "Aider"},
    {.binaries = ollama, .modules = {}, .name = "Ollama"},
    {.binaries = goose, .modules = goose, .name = "Goose"},
    {.binaries = hermes, .modules = hermes, .name = "Hermes"},
    {.binaries = openClaw, .modules = {}, .name = "OpenClaw"},
    {.binaries = cursorAgent, .modules = {}, .name = "Cursor Agent"},
    {.binaries = llm, .modules = llm, .name = "LLM"},
    {.binaries = gpt, .modules = gpt, .name = "GPT"},
}};

// Names that are rare enough to mean the agent anywhere in a command line, as when an interpreter runs the
// agent's script. "claude" is not one: many files have that name.
constexpr std::array<std::string_view, 7> standaloneWords{"codex",    "aider",        "goose", "hermes",
                                                          "openclaw", "cursor-agent", "ollama"};

/// Lower case, without folders and without the "-" of a login shell.
std::string baseName(std::string_view token) {
  if (token.starts_with('-')) token.remove_prefix(1);
  return loweredASCII(token.substr(token.find_last_of('/') + 1));
}

std::vector<std::string_view> tokensOf(std::string_view command) {
  std::vector<std::string_view> tokens;
  while (!command.empty()) {
    const std::string_view token = command.substr(0, command.find(' '));
    if (!token.empty()) tokens.push_back(token);
    command.remove_prefix(std::min(token.size() + 1, command.size()));
  }
  return tokens;
}

bool contains(std::span<const std::string_view> names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::optional<std::string> nameForBinary(std::string_view base) {
  for (const AgentPattern& pattern : patterns)
    if (contains(pattern.binaries, base)) return std::string(pattern.name);
  return std::nullopt;
}

std::optional<std::string> nameForModule(const std::vector<std::string_view>& tokens) {
  const auto option = std::ranges::find(tokens, "-m");
  if (option == tokens.end() || option + 1 == tokens.end()) return std::nullopt;
  const std::string module = baseName(*(option + 1));
  for (const AgentPattern& pattern : patterns)
    if (contains(pattern.modules, module)) return std::string(pattern.name);
  return std::nullopt;
}

/// Whether `text` contains `word` with neither a word character nor "-" on either side.
bool standsAlone(std::string_view word, std::string_view text) {
  static const std::map<std::string_view, RegularExpression> expressions = [] {
    std::map<std::string_view, RegularExpression> compiled;
    for (const std::string_view standalone : standaloneWords) {
      const std::string pattern = R"((?<![\w-]))" + RegularExpression::escaped(standalone) + R"((?![\w-]))";
      if (auto expression = RegularExpression::compile(pattern))
        compiled.emplace(standalone, std::move(*expression));
    }
    return compiled;
  }();
  // A plain search first, so that the engine runs for few processes.
  if (text.find(word) == std::string_view::npos) return false;
  const auto expression = expressions.find(word);
  return expression != expressions.end() && expression->second.isFoundIn(text);
}

std::optional<std::string> nameForStandaloneWord(const std::vector<std::string_view>& tokens) {
  std::string text;
  for (const std::string_view token : tokens) {
    if (!text.empty()) text += ' ';
    text += baseName(token);
  }
  for (const std::string_view word : standaloneWords)
    if (standsAlone(word, text)) return nameForBinary(word);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> ProcessDiscovery::classify(std::string_view command,
                                                      std::optional<std::string_view> execPath) {
  command = trimmedBlanks(command);
  // The host and its tools are not agents.
  if (command.empty() || loweredASCII(command).find("quorl") != std::string::npos) return std::nullopt;
  const std::vector<std::string_view> tokens = tokensOf(command);
  std::string_view program = trimmedBlanks(execPath.value_or(""));
  if (program.empty()) program = tokens.front();
  // A process in an application bundle is a graphical application, whatever its name.
  if (program.find(".app/") != std::string_view::npos) return std::nullopt;

  const std::string base = baseName(program);
  if (std::optional<std::string> name = nameForBinary(base)) return name;
  if (base.starts_with("python"))
    if (std::optional<std::string> name = nameForModule(tokens)) return name;
  return nameForStandaloneWord(tokens);
}

// A program that was started through a link runs under the path of its target ("versions/2.1"), and a script
// under that of its interpreter. If the executable does not identify the agent, the system's name for the
// process may.
std::optional<std::string> ProcessDiscovery::classify(const ProcessRow& row) {
  std::optional<std::string> name = classify(row.command, row.executablePath);
  if (name || row.name.empty() || row.executablePath.find(".app/") != std::string::npos) return name;
  return classify(row.command, row.name);
}

ProcessDiscovery::Findings ProcessDiscovery::find(const std::set<std::string>& excludingTTYs,
                                                  const std::set<std::int32_t>& excludingPIDs) const {
  Findings findings;
  const std::int32_t own = processes_->ownPID();
  for (ProcessRow& row : processes_->processes()) {
    if (row.pid == own || excludingPIDs.contains(row.pid)) continue;
    const std::string_view tty = trimmedBlanks(row.tty);
    if (tty.empty() || tty == "??" || tty == "?") continue;
    std::string device = tty.starts_with("/dev/") ? std::string(tty) : "/dev/" + std::string(tty);
    if (excludingTTYs.contains(device)) continue;
    const std::optional<std::string> name = classify(row);
    if (!name) continue;
    const UUID id = stableID(row.pid, device);
    if (!findings.startTimes.emplace(id, row.startTime).second) continue;
    findings.agents.push_back({.id = id,
                               .pid = row.pid,
                               .command = std::move(row.command),
                               .name = *name,
                               .tty = std::move(device),
                               .terminal = TerminalKind::unknown,
                               .adoptable = false,
                               .cwd = std::nullopt});
  }
  return findings;
}

std::map<std::int32_t, std::string> ProcessDiscovery::cwdByPID(const std::vector<std::int32_t>& pids) const {
  if (pids.empty()) return {};
  return processes_->workingDirectories(pids);
}

UUID ProcessDiscovery::stableID(std::int32_t pid, const std::optional<std::string>& tty) {
  return {.bytes = md5(viewOf(fmt::format("quorl-external:{}:{}", pid, tty ? *tty : "-")))};
}

}  // namespace quorl
