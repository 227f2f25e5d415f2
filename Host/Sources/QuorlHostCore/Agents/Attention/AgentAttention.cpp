// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Attention/AgentAttention.h>

#include <array>
#include <map>
#include <mutex>

#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::AgentAttention {

namespace {

constexpr std::array<std::string_view, 10> basePatterns = {
    R"(\?)",           "y/n",         "yes/no",
    "password",        "Do you want", "Allow",
    "press enter",     R"(❯\s*$)",    "waiting for your input",
    "esc to interrupt"};
constexpr std::array<std::string_view, 3> claudeCodePatterns = {"Do you want to proceed", R"(❯\s*[12]\.)",
                                                                "Yes, and"};
constexpr std::array<std::string_view, 3> codexPatterns = {R"(\[y/N\])", "approve", "allow (this )?command"};
constexpr std::array<std::string_view, 4> aiderPatterns = {R"(\(Y\)es)", R"(\(N\)o)", "Add .* to the chat",
                                                           R"(commit\b.*\?)"};

std::span<const std::string_view> ownPatterns(AgentAdapter adapter) {
  switch (adapter) {
    case AgentAdapter::claudeCode:
      return claudeCodePatterns;
    case AgentAdapter::codex:
      return codexPatterns;
    case AgentAdapter::aider:
      return aiderPatterns;
    case AgentAdapter::generic:
      return {};
  }
  return {};
}

std::shared_ptr<const RegularExpression> compileAll(AgentAdapter adapter) {
  std::string joined;
  for (const std::string_view pattern : patterns(adapter)) {
    if (!joined.empty()) joined += '|';
    joined += "(?:";
    joined += pattern;
    joined += ')';
  }
  auto compiled = RegularExpression::compile(joined, CaseRule::insensitive);
  if (!compiled) return nullptr;
  return std::make_shared<const RegularExpression>(std::move(*compiled));
}

struct Cache {
  std::mutex mutex;
  std::map<AgentAdapter, std::shared_ptr<const RegularExpression>> expressions;
};

}  // namespace

std::vector<std::string_view> patterns(AgentAdapter adapter) {
  std::vector<std::string_view> all(basePatterns.begin(), basePatterns.end());
  const auto own = ownPatterns(adapter);
  all.insert(all.end(), own.begin(), own.end());
  return all;
}

std::shared_ptr<const RegularExpression> regex(AgentAdapter adapter) {
  static Cache cache;
  std::lock_guard lock(cache.mutex);
  const auto [entry, isNew] = cache.expressions.try_emplace(adapter);
  if (isNew) entry->second = compileAll(adapter);
  return entry->second;
}

Finding examine(ByteView output, AgentAdapter adapter) {
  const ByteView tail = output.last(std::min(output.size(), tailLength));
  const std::string cleaned = cleanedTerminalText(repairedUTF8(textViewOf(tail)));
  Finding finding;
  const auto expression = regex(adapter);
  finding.asks = expression && expression->isFoundIn(cleaned);
  finding.body = lastNonEmptyLine(cleaned).value_or(fallbackBody);
  return finding;
}

}  // namespace quorl::AgentAttention
