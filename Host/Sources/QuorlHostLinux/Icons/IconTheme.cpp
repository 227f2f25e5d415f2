// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Icons/IconTheme.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxIndexSize = 1'048'576;
constexpr std::size_t mostThemes = 64;
constexpr std::size_t longestName = 255;
constexpr int largestSize = 4'096;
constexpr std::array<std::string_view, 5> commonThemes{"hicolor", "Adwaita", "breeze", "gnome", "Tango"};

using Group = std::map<std::string, std::string, std::less<>>;

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::map<std::string, Group, std::less<>> groupsOf(std::string_view text) {
  std::map<std::string, Group, std::less<>> groups;
  Group* group = nullptr;
  while (!text.empty()) {
    const std::string_view line = trimmed(text.substr(0, text.find('\n')));
    text.remove_prefix(
        std::min(text.size(), text.find('\n') == text.npos ? text.size() : text.find('\n') + 1));
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']')
      group = &groups[std::string(line.substr(1, line.size() - 2))];
    const auto equals = line.find('=');
    if (group == nullptr || line.empty() || line.front() == '#' || equals == std::string_view::npos) continue;
    group->emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
  }
  return groups;
}

std::string valueOf(const Group& group, std::string_view key) {
  const auto found = group.find(key);
  return found == group.end() ? std::string() : found->second;
}

int numberOf(const Group& group, std::string_view key, int otherwise) {
  const std::string text = valueOf(group, key);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size() && !text.empty();
  return isNumber && number >= 0 && number <= largestSize ? number : otherwise;
}

std::vector<std::string> listOf(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, ',');)
    if (const auto name = trimmed(part); !name.empty()) parts.emplace_back(name);
  return parts;
}

bool isPlainName(const std::string& name) {
  return !name.empty() && name.size() <= longestName && name.front() != '.' &&
         name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

bool staysInside(const std::string& path) {
  if (path.empty() || path.front() == '/' || path.find('\0') != std::string::npos) return false;
  return std::ranges::none_of(fs::path(path), [](const fs::path& part) { return part == ".."; });
}

std::optional<IconThemeIndex::Directory> directoryOf(const std::string& path, const Group& group) {
  const int size = numberOf(group, "Size", 0);
  if (size == 0 || !staysInside(path)) return std::nullopt;
  const int scale = std::max(1, numberOf(group, "Scale", 1));
  const std::string type = valueOf(group, "Type");
  int smallest = size;
  int largest = size;
  if (type == "Scalable") {
    smallest = numberOf(group, "MinSize", size);
    largest = numberOf(group, "MaxSize", size);
  } else if (type != "Fixed") {  // "Threshold", which is also the default
    const int threshold = numberOf(group, "Threshold", 2);
    smallest = size - threshold;
    largest = size + threshold;
  }
  return IconThemeIndex::Directory{.path = path, .smallest = smallest * scale, .largest = largest * scale};
}

int distance(const IconThemeIndex::Directory& directory, int side) {
  return std::max({0, directory.smallest - side, side - directory.largest});
}

bool isFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

// Old desktop files name the file instead of the icon.
std::string withoutExtension(const std::string& name) {
  for (const std::string_view extension : {".png", ".svg", ".xpm"})
    if (name.ends_with(extension)) return name.substr(0, name.size() - extension.size());
  return name;
}

}  // namespace

IconThemeIndex parseIconThemeIndex(std::string_view text) {
  const auto groups = groupsOf(text);
  const auto main = groups.find("Icon Theme");
  IconThemeIndex index;
  if (main == groups.end()) return index;
  auto names = listOf(valueOf(main->second, "Directories"));
  std::ranges::copy(listOf(valueOf(main->second, "ScaledDirectories")), std::back_inserter(names));
  for (const auto& name : names) {
    const auto group = groups.find(name);
    if (group == groups.end()) continue;
    if (const auto directory = directoryOf(name, group->second)) index.directories.push_back(*directory);
  }
  for (auto& parent : listOf(valueOf(main->second, "Inherits")))
    if (isPlainName(parent)) index.parents.push_back(std::move(parent));
  return index;
}

IconTheme IconTheme::ofThisUser(const std::vector<std::string>& dataFolders) {
  std::vector<std::string> folders{currentUserFolders().home + "/.icons"};
  std::vector<std::string> pixmaps;
  for (const auto& folder : dataFolders) {
    folders.push_back(folder + "/icons");
    pixmaps.push_back(folder + "/pixmaps");
  }
  return {std::move(folders), std::move(pixmaps)};
}

std::optional<std::string> IconTheme::find(const std::string& name, int side) const {
  if (name.starts_with('/'))
    return name.ends_with(".png") && isFile(name) ? std::optional(name) : std::nullopt;
  if (!isPlainName(name)) return std::nullopt;
  const std::string file = withoutExtension(name) + ".png";
  std::set<std::string> seen;
  const auto installed = themes();
  std::deque<std::string> waiting(installed.begin(), installed.end());
  while (!waiting.empty() && seen.size() < mostThemes) {
    const std::string theme = waiting.front();
    waiting.pop_front();
    if (!seen.insert(theme).second) continue;
    const auto index = readIndex(theme);
    if (!index) continue;
    if (auto path = findIn(theme, *index, file, side)) return path;
    waiting.insert(waiting.begin(), index->parents.begin(), index->parents.end());
  }
  for (const auto& folder : pixmaps_)
    if (std::string path = folder + "/" + file; isFile(path)) return path;
  return std::nullopt;
}

std::vector<std::string> IconTheme::themes() const {
  std::vector<std::string> names(commonThemes.begin(), commonThemes.end());
  std::set<std::string> others;
  for (const auto& folder : folders_) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
      others.insert(entry->path().filename().string());
  }
  names.insert(names.end(), others.begin(), others.end());
  return names;
}

std::optional<IconThemeIndex> IconTheme::readIndex(const std::string& theme) const {
  for (const auto& folder : folders_) {
    const auto bytes = PosixFileStore().read(folder + "/" + theme + "/index.theme", maxIndexSize);
    if (bytes) return parseIconThemeIndex(textViewOf(*bytes));
  }
  return std::nullopt;
}

std::optional<std::string> IconTheme::findIn(const std::string& theme, const IconThemeIndex& index,
                                             const std::string& file, int side) const {
  std::vector<const IconThemeIndex::Directory*> directories;
  for (const auto& directory : index.directories) directories.push_back(&directory);
  // The best first; of equals the one that the index names first.
  std::ranges::sort(directories, [side](const auto* a, const auto* b) {
    const bool isSmall = a->largest < side;
    if (isSmall != (b->largest < side)) return !isSmall;
    const int toA = distance(*a, side);
    const int toB = distance(*b, side);
    if (toA != toB) return toA < toB;
    return a->largest != b->largest ? a->largest > b->largest : a < b;
  });
  std::vector<std::string> roots;
  for (const auto& folder : folders_)
    if (std::error_code error; fs::is_directory(folder + "/" + theme, error))
      roots.push_back(folder + "/" + theme + "/");
  for (const auto* directory : directories)
    for (const auto& root : roots)
      if (std::string path = root + directory->path + "/" + file; isFile(path)) return path;
  return std::nullopt;
}

}  // namespace quorl
