// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Models/AgentModels.h>

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

constexpr std::size_t longestName = 40;
constexpr std::size_t longestLine = 32;

// After one of these words at the beginning of a shell line, the next word is not the program's name.
constexpr std::array<std::string_view, 10> shellWords{"for",  "while",    "until", "if", "do",
                                                      "case", "function", "{",     "(",  "sudo"};

bool isDropped(std::string_view token) {
  return token == "env" || (token.find('=') != std::string_view::npos && !token.starts_with('-'));
}

// The first token that is neither an environment assignment nor the word that introduces them.
std::string_view programToken(std::string_view line) {
  while (!line.empty()) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string_view token = line.substr(0, blank);
    if (!token.empty() && !isDropped(token)) return token;
    line.remove_prefix(std::min(blank + 1, line.size()));
  }
  return {};
}

}  // namespace

std::string_view label(AgentTool tool) {
  switch (tool) {
    case AgentTool::claude:
      return "Claude Code";
    case AgentTool::codex:
      return "Codex";
    case AgentTool::opencode:
      return "OpenCode";
    case AgentTool::other:
      return "Agent";
  }
  return {};
}

std::optional<AgentTool> inferAgentTool(std::string_view command) {
  const std::string lower = loweredASCII(command);
  constexpr std::array<std::pair<std::string_view, AgentTool>, 3> namesInOrder{
      {{"opencode", AgentTool::opencode}, {"claude", AgentTool::claude}, {"codex", AgentTool::codex}}};
  for (const auto& [name, tool] : namesInOrder)
    if (lower.find(name) != std::string::npos) return tool;
  return std::nullopt;
}

std::string AgentSpawnConfig::shortLabel(std::string_view command) {
  const std::string_view line = trimmedWhiteSpace(command);
  if (line.empty()) return "Shell";
  const std::string_view token = programToken(line);
  if (std::ranges::find(shellWords, token) == shellWords.end()) {
    const std::string_view name = lastPathComponent(token);
    if (!name.empty()) return std::string(firstCharacters(name, longestName));
  }
  if (firstCharacters(line, longestLine).size() == line.size()) return std::string(line);
  return fmt::format("{}…", firstCharacters(line, longestLine - 1));
}

std::optional<std::string> ExternalAgent::projectName() const {
  if (!cwd) return std::nullopt;
  const std::string_view last = lastPathComponent(*cwd);
  if (last.empty() || last == "/") return std::nullopt;
  return std::string(last);
}

std::string ServiceDescriptor::id() const {
  return fmt::format("{}:{}", processName, port);
}

}  // namespace quorl
