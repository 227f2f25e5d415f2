// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/ClaudeCodeDiscovery.h>

#include <algorithm>
#include <map>

#include <QuorlHostCore/Agents/Discovery/ProjectPath.h>
#include <QuorlHostCore/Agents/Discovery/Transcript.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

namespace {

constexpr std::string_view extension = ".jsonl";

}  // namespace

std::string ClaudeCodeDiscovery::root() const {
  return files_->homeDirectory() + "/.claude/projects";
}

std::string ClaudeCodeDiscovery::decodeProjectPath(std::string_view name) const {
  return quorl::decodeProjectPath(
      name, {.exists = [this](const std::string& path) { return files_->exists(path); },
             .isDirectory = [this](const std::string& path) { return files_->isDirectory(path); }});
}

void ClaudeCodeDiscovery::collect(const std::string& folder, std::size_t project,
                                  std::vector<Found>& found) const {
  auto files = files_->list(folder);
  if (!files) return;
  for (SessionFiles::Entry& file : *files) {
    const std::string_view name = file.name;
    if (!file.isRegular || !name.ends_with(extension)) continue;
    const std::string_view sessionID = name.substr(0, name.size() - extension.size());
    if (!UUID::parse(sessionID)) continue;
    found.push_back({.sessionID = std::string(sessionID), .project = project, .file = std::move(file)});
  }
}

std::vector<DiscoveredClaudeSession> ClaudeCodeDiscovery::scan(std::size_t limit, std::size_t previewLimit) {
  const std::string top = root();
  const auto projects = files_->list(top);
  if (!projects) return {};
  std::vector<Found> found;
  for (std::size_t i = 0; i < projects->size(); ++i)
    if ((*projects)[i].isDirectory) collect(top + "/" + (*projects)[i].name, i, found);
  std::ranges::sort(found, [](const Found& a, const Found& b) {
    // Names break ties, so that a refresh does not reorder the list.
    return a.file.modified != b.file.modified ? a.file.modified > b.file.modified : a.sessionID < b.sessionID;
  });
  found.resize(std::min(found.size(), limit));

  // The path is searched only for folders of sessions that are shown.
  std::map<std::size_t, std::string> paths;
  std::vector<DiscoveredClaudeSession> sessions;
  sessions.reserve(found.size());
  for (Found& item : found) {
    const std::string& folder = (*projects)[item.project].name;
    auto path = paths.find(item.project);
    if (path == paths.end()) path = paths.emplace(item.project, decodeProjectPath(folder)).first;
    std::optional<std::string> text;
    if (sessions.size() < previewLimit)
      text = previewOf(top + "/" + folder + "/" + item.file.name, item.file);
    sessions.push_back({.sessionID = std::move(item.sessionID),
                        .projectPath = path->second,
                        .modified = item.file.modified,
                        .preview = std::move(text)});
  }
  previews_.forgetOthers();
  return sessions;
}

std::optional<std::string> ClaudeCodeDiscovery::preview(const std::string& sessionID,
                                                        const std::string& /*projectPath*/) {
  const std::string top = root();
  const auto projects = files_->list(top);
  if (!projects) return std::nullopt;
  const std::string wanted = sessionID + std::string(extension);
  for (const SessionFiles::Entry& project : *projects) {
    const std::string folder = top + "/" + project.name;
    const auto files = project.isDirectory ? files_->list(folder) : std::vector<SessionFiles::Entry>{};
    if (!files) continue;
    // Compared with the names in the folder, so that an identifier with a "/" cannot leave it.
    const auto file = std::ranges::find(*files, wanted, &SessionFiles::Entry::name);
    if (file != files->end()) return previewOf(folder + "/" + wanted, *file);
  }
  return std::nullopt;
}

std::optional<std::string> ClaudeCodeDiscovery::previewOf(const std::string& path,
                                                          const SessionFiles::Entry& file) {
  if (!file.isRegular) return std::nullopt;
  if (const auto* remembered = previews_.find(path, file)) return *remembered;
  const std::uint64_t start = file.size > Transcript::windowSize ? file.size - Transcript::windowSize : 0;
  const auto window = files_->read(path, start, Transcript::windowSize);
  if (!window) return std::nullopt;
  std::optional<std::string> text = Transcript::preview(*window);
  previews_.remember(path, file, text);
  return text;
}

}  // namespace quorl
