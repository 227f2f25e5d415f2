// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Applications/DesktopFile.h>

#include <filesystem>
#include <map>
#include <sstream>

#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlHostPosix/UserFolders.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

// The most hyphens of an id that are tried as folders. An id comes from a peer.
constexpr std::size_t maxFolderDepth = 4;
constexpr std::size_t maxFileSize = 1'048'576;

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// "Possible value types": the escapes of a string value.
std::string withoutStringEscapes(const std::string& value) {
  std::string result;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] != '\\' || at + 1 == value.size()) {
      result += value[at];
      continue;
    }
    switch (value[++at]) {
      case 's':
        result += ' ';
        break;
      case 'n':
        result += '\n';
        break;
      case 't':
        result += '\t';
        break;
      case 'r':
        result += '\r';
        break;
      case '\\':
        result += '\\';
        break;
      default:
        result += {'\\', value[at]};
    }
  }
  return result;
}

std::map<std::string, std::string> mainGroup(std::string_view text) {
  std::map<std::string, std::string> values;
  std::istringstream lines{std::string(text)};
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    line = trimmed(line);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      inside = line == "[Desktop Entry]";
      continue;
    }
    const auto equals = line.find('=');
    if (inside && equals != std::string::npos)
      values.emplace(trimmed(line.substr(0, equals)), withoutStringEscapes(trimmed(line.substr(equals + 1))));
  }
  return values;
}

// Cuts the value of the Exec key (Desktop Entry Specification 1.5) into arguments. The specification leaves
// open what a field code in a quoted part means; it is kept as text.
class CommandLine {
 public:
  explicit CommandLine(const std::string& text) : text_(text) {}

  std::optional<std::vector<std::string>> parse() {
    while (at_ < text_.size()) {
      const char character = text_[at_++];
      if (character == ' ' || character == '\t' || character == '\n') {
        endArgument();
      } else if (character == '"') {
        if (!takeQuoted()) return std::nullopt;
      } else if (character == '%') {
        if (!takeFieldCode()) return std::nullopt;
      } else {
        current_ += character;
        begun_ = true;
      }
    }
    endArgument();
    if (arguments_.empty() || arguments_.front().empty()) return std::nullopt;
    return arguments_;
  }

 private:
  void endArgument() {
    if (begun_) arguments_.push_back(current_);
    current_.clear();
    begun_ = false;
  }

  bool takeQuoted() {
    begun_ = true;
    while (at_ < text_.size()) {
      char character = text_[at_++];
      if (character == '"') return true;
      if (character == '\\') {
        if (at_ == text_.size()) return false;
        character = text_[at_++];
      }
      current_ += character;
    }
    return false;
  }

  // There is no file, icon or name to pass, so every code except "%%" is removed.
  bool takeFieldCode() {
    if (at_ == text_.size()) return false;
    const char code = text_[at_++];
    if (code != '%') return std::string_view("fFuUdDnNickvm").find(code) != std::string_view::npos;
    current_ += '%';
    begun_ = true;
    return true;
  }

  const std::string& text_;
  std::size_t at_ = 0;
  std::vector<std::string> arguments_;
  std::string current_;
  bool begun_ = false;
};

bool leadsElsewhere(const std::string& id) {
  return id.empty() || id.front() == '.' || id.find('/') != std::string::npos ||
         id.find('\0') != std::string::npos;
}

}  // namespace

std::optional<DesktopFile> parseDesktopFile(std::string_view text) {
  auto values = mainGroup(text);
  if (values["Type"] != "Application" || values["Hidden"] == "true") return std::nullopt;
  return DesktopFile{.name = repairedUTF8(values["Name"]),
                     .windowClass = values["StartupWMClass"],
                     .arguments = CommandLine(values["Exec"]).parse().value_or(std::vector<std::string>{}),
                     .workingDirectory = values["Path"],
                     .icon = values["Icon"],
                     .needsTerminal = values["Terminal"] == "true",
                     .isHidden = values["NoDisplay"] == "true",
                     .isTerminalEmulator =
                         (";" + values["Categories"] + ";").find(";TerminalEmulator;") != std::string::npos};
}

std::optional<DesktopFile> readDesktopFile(const std::string& path) {
  const auto bytes = PosixFileStore().read(path, maxFileSize);
  if (!bytes) return std::nullopt;
  return parseDesktopFile(textViewOf(*bytes));
}

std::vector<std::string> desktopFileCandidates(const std::string& id) {
  if (leadsElsewhere(id)) return {};
  std::vector<std::string> candidates{id + ".desktop"};
  std::string path = id;
  for (std::size_t depth = 0; depth < maxFolderDepth; ++depth) {
    const auto hyphen = path.find('-');
    // A part that begins with a dot could name the parent folder.
    if (hyphen == std::string::npos || hyphen + 1 == path.size() || path[hyphen + 1] == '.') break;
    path[hyphen] = '/';
    candidates.push_back(path + ".desktop");
  }
  return candidates;
}

std::optional<std::string> findDesktopFile(const std::vector<std::string>& dataFolders,
                                           const std::string& id) {
  for (const auto& folder : dataFolders)
    for (const auto& candidate : desktopFileCandidates(id)) {
      std::string path = folder + "/applications/" + candidate;
      std::error_code error;
      if (std::filesystem::is_regular_file(path, error)) return path;
    }
  return std::nullopt;
}

std::vector<std::string> currentDataFolders() {
  std::vector<std::string> folders{currentUserFolders().data};
  const auto listed = processEnvironment()("XDG_DATA_DIRS").value_or("");
  std::istringstream parts(listed.empty() ? "/usr/local/share:/usr/share" : listed);
  for (std::string part; std::getline(parts, part, ':');)
    if (part.starts_with('/')) folders.push_back(part);
  return folders;
}

}  // namespace quorl
