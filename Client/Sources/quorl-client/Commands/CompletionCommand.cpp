// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/AgentExchange.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/Completion.h>

namespace quorl::client {
namespace {

// A person has pressed Tab and waits.
constexpr std::string_view patience = "1.5";

std::vector<Candidate> hostNames(const CommandContext& context) {
  const auto book = context.book.load();
  if (!book) return {};
  std::vector<Candidate> names;
  for (const auto& host : book->hosts) names.push_back({host.endpoint().text(), host.name});
  return names;
}

std::vector<Candidate> agentNames(CommandContext& context, const std::string& host) {
  static const Command askingForAgents{.name = "agents"};
  std::vector<std::string_view> words{"--timeout", patience};
  if (!host.empty()) words.insert(words.end(), {"--host", host});
  const auto arguments = Arguments::parse(askingForAgents, words);
  if (!arguments) return {};
  const auto deadline = answerDeadline(*arguments);
  if (!deadline) return {};
  auto session = openSession(*arguments, context, {}, *deadline, Questions::refused);
  if (!session) return {};
  const auto rows = fetchAgents(**session, *deadline);
  if (!rows) return {};
  std::vector<UUID> ids;
  for (const auto& row : *rows) ids.push_back(row.id);
  const std::size_t length = distinctLength(ids);
  std::vector<Candidate> names;
  for (const auto& row : *rows)
    names.push_back({row.id.text().substr(0, length), row.name + ", " + std::string(kindWord(row))});
  closeSession(**session);
  return names;
}

}  // namespace

ExitCode printCompletion(std::span<const std::string_view> words, CommandContext& context) {
  context.waiter.onSlow = nullptr;
  const NameSources sources{.hosts = [&] { return hostNames(context); },
                            .agents = [&](const std::string& host) { return agentNames(context, host); }};
  const std::string text = completionText(complete(commandTable(), words, sources));
  if (!text.empty()) context.output.line(text);
  return ExitCode::ok;
}

}  // namespace quorl::client
