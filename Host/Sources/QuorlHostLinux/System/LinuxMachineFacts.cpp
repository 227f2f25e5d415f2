// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/LinuxMachineFacts.h>

#include <array>
#include <sstream>

#include <unistd.h>

#include <QuorlHostPosix/PosixFileStore.h>

namespace quorl {

namespace {

constexpr std::size_t maxFactFile = 65'536;

std::string trimmed(const std::string& text) {
  constexpr std::string_view blank{" \t\r\n\0", 5};
  const auto first = text.find_first_not_of(blank);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

// Placeholders that vendors leave instead of a model.
bool isFiller(const std::string& model) {
  constexpr std::array<std::string_view, 6> fillers{"System Product Name",    "To Be Filled By O.E.M.",
                                                    "To be filled by O.E.M.", "Default string",
                                                    "Not Applicable",         "None"};
  return model.empty() || std::find(fillers.begin(), fillers.end(), model) != fillers.end();
}

// Inside double quotes a backslash escapes the next character; inside single quotes it is a plain character.
std::string unquoted(const std::string& value) {
  if (value.size() < 2 || (value.front() != '"' && value.front() != '\'') || value.back() != value.front())
    return value;
  std::string inner = value.substr(1, value.size() - 2);
  if (value.front() == '\'') return inner;
  std::string result;
  for (std::size_t at = 0; at < inner.size(); ++at) {
    if (inner[at] == '\\' && at + 1 < inner.size()) ++at;
    result += inner[at];
  }
  return result;
}

}  // namespace

std::string assignmentValue(const std::string& text, const std::string& name) {
  std::istringstream lines(text);
  std::string found;
  for (std::string line; std::getline(lines, line);) {
    line = trimmed(line);
    if (line.starts_with(name + "=")) found = unquoted(trimmed(line.substr(name.size() + 1)));
  }
  return found;
}

std::string LinuxMachineFacts::fileText(const char* path) const {
  PosixFileStore files;
  const auto bytes = files.read(root_ + path, maxFactFile);
  return bytes ? textOf(*bytes) : std::string();
}

std::string LinuxMachineFacts::firstLine(const char* path) const {
  const std::string text = fileText(path);
  return trimmed(text.substr(0, text.find('\n')));
}

std::string LinuxMachineFacts::computerName() {
  if (auto pretty = assignmentValue(fileText("/etc/machine-info"), "PRETTY_HOSTNAME"); !pretty.empty())
    return pretty;
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  const std::string host = name.data();
  return host.substr(0, host.find('.'));
}

std::string LinuxMachineFacts::hardwareModel() {
  for (const char* path :
       {"/sys/class/dmi/id/product_name", "/sys/class/dmi/id/board_name", "/proc/device-tree/model"})
    if (auto model = firstLine(path); !isFiller(model)) return model;
  return {};
}

std::string LinuxMachineFacts::operatingSystemVersion() {
  std::string text = fileText("/etc/os-release");
  if (text.empty()) text = fileText("/usr/lib/os-release");
  if (auto pretty = assignmentValue(text, "PRETTY_NAME"); !pretty.empty()) return pretty;
  return assignmentValue(text, "NAME");
}

}  // namespace quorl
