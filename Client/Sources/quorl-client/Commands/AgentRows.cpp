// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/AgentRows.h>

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include <QuorlKit/Foundation/ASCII.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

std::vector<std::size_t> indicesWhere(const std::vector<Named>& all,
                                      const std::function<bool(const Named&)>& fits) {
  std::vector<std::size_t> found;
  for (std::size_t index = 0; index < all.size(); ++index)
    if (fits(all[index])) found.push_back(index);
  return found;
}

// The matches of the first way of naming that has any.
std::vector<std::size_t> meantBy(const std::vector<Named>& all, std::string_view wanted) {
  const auto text = loweredASCII(wanted);
  const auto ways = std::to_array<std::function<bool(const Named&)>>({
      [&](const Named& one) { return loweredASCII(one.id.text()) == text; },
      [&](const Named& one) { return one.name == wanted; },
      [&](const Named& one) { return loweredASCII(one.id.text()).starts_with(text); },
      [&](const Named& one) { return loweredASCII(one.name).find(text) != std::string::npos; },
  });
  if (text.empty()) return {};
  for (const auto& way : ways)
    if (auto found = indicesWhere(all, way); !found.empty()) return found;
  return {};
}

std::unexpected<ClientError> ambiguous(const std::vector<Named>& all, const std::vector<std::size_t>& found,
                                       std::string_view wanted, std::string_view what) {
  constexpr std::size_t shown = 8;
  std::vector<UUID> ids;
  for (const auto& one : all) ids.push_back(one.id);
  const auto length = distinctLength(ids);
  std::string advice = "Matches:";
  for (std::size_t index = 0; index < std::min(found.size(), shown); ++index) {
    const auto& one = all[found[index]];
    advice += fmt::format("\n    {}  {}", one.id.text().substr(0, length), printable(one.name));
  }
  if (found.size() > shown) advice += fmt::format("\n    and {} more", found.size() - shown);
  return failed(ExitCode::usage, fmt::format("'{}' matches {} {}s", printable(wanted), found.size(), what),
                advice);
}

}  // namespace

Outcome<std::size_t> chooseNamed(const std::vector<Named>& all, std::string_view wanted,
                                 std::string_view what) {
  const auto found = meantBy(all, wanted);
  if (found.size() == 1) return found.front();
  if (found.empty())
    return failed(ExitCode::failure, fmt::format("the host has no {} '{}'", what, printable(wanted)));
  return ambiguous(all, found, wanted, what);
}

Outcome<AgentDescriptor> chooseAgent(const std::vector<AgentDescriptor>& rows, std::string_view wanted,
                                     const std::function<bool(const AgentDescriptor&)>& isFit) {
  std::vector<Named> all;
  for (const auto& row : rows) all.push_back({row.id, row.name});
  auto found = meantBy(all, wanted);
  if (found.empty())
    return failed(ExitCode::failure, fmt::format("the host has no agent '{}'", printable(wanted)),
                  "'quorl_client agents' lists them.");
  std::vector<std::size_t> fit;
  std::ranges::copy_if(found, std::back_inserter(fit), [&](std::size_t index) { return isFit(rows[index]); });
  if (!fit.empty()) found = fit;
  if (found.size() > 1) return ambiguous(all, found, wanted, "agent");
  return rows[found.front()];
}

bool hasTerminal(const AgentDescriptor& row) {
  switch (row.kind) {
    case AgentKind::pty:
    case AgentKind::externalTerminal:
      return true;
    case AgentKind::claudeCode:
      return row.pid.has_value();
    case AgentKind::guiApp:
    case AgentKind::httpService:
      return false;
  }
  return false;
}

bool isAlive(const AgentDescriptor& row) {
  return row.status != AgentStatus::exited && row.status != AgentStatus::error;
}

bool isPastSession(const AgentDescriptor& row) {
  return row.kind == AgentKind::claudeCode && !row.pid;
}

std::optional<std::string> sessionIDOf(const AgentDescriptor& row) {
  constexpr std::string_view beginning = "session ";
  constexpr std::string_view separator = " — ";
  const std::string_view detail = row.detail;
  const auto end = detail.find(separator);
  if (!detail.starts_with(beginning) || end == std::string_view::npos || end < beginning.size())
    return std::nullopt;
  return std::string(detail.substr(beginning.size(), end - beginning.size()));
}

std::size_t distinctLength(const std::vector<UUID>& ids) {
  constexpr std::size_t shortest = 8;
  for (std::size_t length = shortest;; ++length) {
    std::set<std::string> beginnings;
    for (const auto& id : ids) beginnings.insert(id.text().substr(0, length));
    if (beginnings.size() == std::set<UUID>(ids.begin(), ids.end()).size()) return length;
  }
}

std::string_view kindWord(const AgentDescriptor& row) {
  switch (row.kind) {
    case AgentKind::pty:
      return "spawned";
    case AgentKind::claudeCode:
      return row.pid ? "resumed" : "past";
    case AgentKind::guiApp:
      return "app";
    case AgentKind::httpService:
      return "service";
    case AgentKind::externalTerminal:
      return "tab";
  }
  return "";
}

std::string ageText(double seconds) {
  if (seconds < 60) return "just now";
  if (seconds < 3600) return fmt::format("{:.0f} min ago", seconds / 60);
  if (seconds < 172'800) return fmt::format("{:.0f} h ago", seconds / 3600);
  return fmt::format("{:.0f} days ago", seconds / 86'400);
}

std::string rowLine(const AgentDescriptor& row, std::size_t idLength, double now) {
  const auto status = row.status == AgentStatus::waitingInput ? "waiting" : rawValue(row.status);
  auto line = fmt::format("{}  {:<8} {:<8} {}", row.id.text().substr(0, idLength), status, kindWord(row),
                          printable(row.name));
  if (row.lastActivity) line += fmt::format("  ({})", ageText(now - row.lastActivity->secondsSince1970));
  const auto& second = row.preview && !row.preview->empty() ? *row.preview : row.detail;
  if (!second.empty()) line += fmt::format("\n{:{}}  {}", "", idLength, printable(second));
  return line;
}

}  // namespace quorl::client
