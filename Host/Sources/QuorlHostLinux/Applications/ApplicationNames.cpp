// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Applications/ApplicationNames.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

namespace fs = std::filesystem;

// Longer command lines are cut; a script's name is near the beginning.
constexpr std::size_t maxCommandLine = 4096;

// Without the version: "python3.11" is "python".
constexpr std::array<std::string_view, 15> interpreters = {"bash",   "dash",   "gjs",  "java", "lua",
                                                           "node",   "nodejs", "perl", "php",  "pypy",
                                                           "python", "ruby",   "sh",   "wish", "zsh"};

std::string_view fileName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

bool isInterpreter(std::string_view program) {
  const auto end = program.find_last_not_of("0123456789.-");
  return std::ranges::find(interpreters, program.substr(0, end + 1)) != interpreters.end();
}

std::vector<std::string> commandLineOf(std::int32_t pid) {
  std::ifstream file(fmt::format("/proc/{}/cmdline", pid), std::ios::binary);
  std::string text(maxCommandLine, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  std::vector<std::string> arguments;
  for (std::size_t start = 0; start < text.size();) {
    const auto end = std::min(text.find('\0', start), text.size());
    arguments.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return arguments;
}

RunningProgram runningProgram(std::int32_t pid) {
  std::error_code error;
  if (pid <= 0) return {};
  const std::string path = fs::read_symlink(fmt::format("/proc/{}/exe", pid), error).string();
  const std::string executable(fileName(path));
  return isInterpreter(executable) ? programOf(executable, commandLineOf(pid)) : programOf(executable, {});
}

}  // namespace

RunningProgram programOf(const std::string& executable, const std::vector<std::string>& arguments) {
  if (!isInterpreter(executable)) return {.name = executable};
  // The first word after the options. "-m module" and "-c text" name no file; their next word serves as well.
  const auto script = std::find_if(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end(),
                                   [](const auto& word) { return !word.empty() && word.front() != '-'; });
  if (script == arguments.end()) return {};
  return {.name = std::string(fileName(*script)), .isScript = true};
}

ApplicationNames::ApplicationNames(const std::vector<std::string>& dataFolders) {
  for (const auto& folder : dataFolders) folders_.push_back(fs::path(folder) / "applications");
}

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
    for (fs::directory_iterator file(folder, error), end; !error && file != end; file.increment(error))
      if (file->path().extension() == ".desktop") add(file->path());
  }
}

void ApplicationNames::add(const fs::path& file) {
  const auto entry = readDesktopFile(file.string());
  if (!entry || entry->name.empty() || entry->isHidden || entry->needsTerminal) return;
  const std::string executable(entry->arguments.empty() ? "" : fileName(entry->arguments.front()));
  entries_.push_back({.id = repairedUTF8(file.stem().string()),
                      .name = entry->name,
                      .windowClass = entry->windowClass,
                      .program = programOf(executable, entry->arguments).name});
}

ApplicationIdentity ApplicationNames::identify(const std::string& windowClass, std::int32_t pid) const {
  return identify(windowClass, runningProgram(pid));
}

ApplicationIdentity ApplicationNames::identify(const std::string& windowClass,
                                               const RunningProgram& program) const {
  const std::string lower = loweredASCII(windowClass);
  const auto found = [&](auto matches) {
    const auto entry = std::ranges::find_if(entries_, matches);
    return entry == entries_.end() ? nullptr : &*entry;
  };
  const Entry* entry = nullptr;
  if (!windowClass.empty()) {
    entry = found([&](const auto& e) { return e.windowClass == windowClass; });
    if (entry == nullptr) entry = found([&](const auto& e) { return loweredASCII(e.id) == lower; });
  }
  if (entry == nullptr && !program.name.empty())
    entry = found([&](const auto& e) { return e.program == program.name; });
  if (entry != nullptr) return {entry->id, entry->name};
  // Scripts of one toolkit often share a class ("Tk"), so the script tells them apart.
  const std::string own = repairedUTF8(program.isScript || windowClass.empty() ? program.name : windowClass);
  const std::string name = repairedUTF8(windowClass.empty() ? program.name : windowClass);
  return {fmt::format("x11.{}", !own.empty() ? own : !name.empty() ? name : "unknown"), name};
}

}  // namespace quorl
