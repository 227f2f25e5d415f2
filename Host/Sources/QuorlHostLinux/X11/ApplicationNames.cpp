// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/ApplicationNames.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <fmt/format.h>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

namespace fs = std::filesystem;

std::string lowered(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
  return text;
}

std::string fileName(std::string_view path) {
  const auto slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::vector<fs::path> dataFolders() {
  std::vector<fs::path> folders;
  const std::string home = environment("XDG_DATA_HOME");
  if (!home.empty()) folders.emplace_back(home);
  if (home.empty() && !environment("HOME").empty())
    folders.emplace_back(environment("HOME") + "/.local/share");
  std::string list = environment("XDG_DATA_DIRS");
  if (list.empty()) list = "/usr/local/share:/usr/share";
  for (std::size_t start = 0; start <= list.size();) {
    const auto end = std::min(list.find(':', start), list.size());
    if (end > start) folders.emplace_back(list.substr(start, end - start));
    start = end + 1;
  }
  for (auto& folder : folders) folder /= "applications";
  return folders;
}

std::string programOf(std::int32_t pid) {
  std::error_code error;
  if (pid <= 0) return {};
  return fileName(fs::read_symlink(fmt::format("/proc/{}/exe", pid), error).string());
}

}  // namespace

DesktopEntry parseDesktopEntry(std::string id, std::string_view text) {
  DesktopEntry entry{.id = std::move(id)};
  bool isInside = false;
  bool isApplication = false;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.starts_with('[')) isInside = line.starts_with("[Desktop Entry]");
    const auto equals = line.find('=');
    if (!isInside || equals == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, equals);
    const std::string value(line.substr(equals + 1));
    if (key == "Type") isApplication = value == "Application";
    if (key == "Name") entry.name = repairedUTF8(value);
    if (key == "StartupWMClass") entry.windowClass = value;
    if (key == "Exec") entry.program = fileName(value.substr(0, value.find(' ')));
  }
  if (!isApplication) entry.name.clear();
  return entry;
}

ApplicationNames::ApplicationNames() : folders_(dataFolders()) {}

void ApplicationNames::refresh() {
  std::map<fs::path, fs::file_time_type> now;
  for (const auto& folder : folders_) {
    std::error_code error;
    const auto time = fs::last_write_time(folder, error);
    if (!error) now[folder] = time;
  }
  if (now == seen_) return;
  seen_ = std::move(now);
  entries_.clear();
  for (const auto& folder : folders_) {
    std::error_code error;
    for (fs::directory_iterator file(folder, error), end; !error && file != end; file.increment(error)) {
      if (file->path().extension() != ".desktop") continue;
      std::error_code notRegular;
      if (!fs::is_regular_file(file->path(), notRegular)) continue;
      std::ifstream stream(file->path(), std::ios::binary);
      const std::string text{std::istreambuf_iterator<char>(stream), {}};
      auto entry = parseDesktopEntry(repairedUTF8(file->path().stem().string()), text);
      if (!entry.name.empty()) entries_.push_back(std::move(entry));
    }
  }
}

ApplicationIdentity ApplicationNames::identify(const std::string& windowClass, std::int32_t pid) const {
  const std::string lower = lowered(windowClass);
  const std::string program = programOf(pid);
  const auto found = [&](auto matches) {
    const auto entry = std::ranges::find_if(entries_, matches);
    return entry == entries_.end() ? nullptr : &*entry;
  };
  const DesktopEntry* entry = nullptr;
  if (!windowClass.empty()) {
    entry = found([&](const auto& e) { return e.windowClass == windowClass; });
    if (entry == nullptr) entry = found([&](const auto& e) { return lowered(e.id) == lower; });
  }
  if (entry == nullptr && !program.empty()) {
    entry = found([&](const auto& e) { return e.program == program; });
  }
  if (entry != nullptr) return {entry->id, entry->name};
  const std::string name = !windowClass.empty() ? windowClass : program;
  return {fmt::format("x11.{}", name.empty() ? "unknown" : name), name};
}

}  // namespace quorl
