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
constexpr std::size_t maxEnvironment = 131'072;
// Ids of files in subfolders contain hyphens (Desktop Entry Specification, "Desktop File ID").
constexpr int maxFolderDepth = 3;

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

std::string readProcess(std::int32_t pid, const char* name, std::size_t limit) {
  std::ifstream file(fmt::format("/proc/{}/{}", pid, name), std::ios::binary);
  std::string text(limit, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

std::vector<std::string> commandLineOf(std::int32_t pid) {
  const std::string text = readProcess(pid, "cmdline", maxCommandLine);
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
  auto program =
      isInterpreter(executable) ? programOf(executable, commandLineOf(pid)) : programOf(executable, {});
  program.launchedBy = launchingDesktopFile(readProcess(pid, "environ", maxEnvironment), pid);
  return program;
}

/// The value of a variable in an environment; empty when it is not set.
std::string_view variable(std::string_view environment, std::string_view name) {
  while (!environment.empty()) {
    const std::string_view entry = environment.substr(0, environment.find('\0'));
    if (entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=')
      return entry.substr(name.size() + 1);
    environment.remove_prefix(std::min(environment.size(), entry.size() + 1));
  }
  return {};
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

std::string launchingDesktopFile(const std::string& environment, std::int32_t pid) {
  if (variable(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != std::to_string(pid)) return {};
  return std::string(variable(environment, "GIO_LAUNCHED_DESKTOP_FILE"));
}

ApplicationNames::ApplicationNames(const std::vector<std::string>& dataFolders) {
  for (const auto& folder : dataFolders) folders_.push_back(fs::path(folder) / "applications");
  watched_ = folders_;
}

void ApplicationNames::refresh() {
  std::map<fs::path, fs::file_time_type> now;
  for (const auto& folder : watched_) {
    std::error_code error;
    const auto time = fs::last_write_time(folder, error);
    if (!error) now[folder] = time;
  }
  if (now == seen_) return;
  seen_ = std::move(now);
  entries_.clear();
  known_.clear();
  watched_ = folders_;
  for (const auto& folder : folders_) readFolder(folder);
}

void ApplicationNames::readFolder(const fs::path& folder) {
  std::error_code error;
  constexpr auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator file(folder, options, error), end; !error && file != end;
       file.increment(error)) {
    if (file.depth() >= maxFolderDepth) file.disable_recursion_pending();
    if (file->is_directory(error)) {
      watched_.push_back(file->path());
      seen_[file->path()] = file->last_write_time(error);
    }
    if (file->path().extension() != ".desktop") continue;
    std::string id = file->path().lexically_relative(folder).replace_extension().string();
    std::ranges::replace(id, '/', '-');
    add(id, file->path());
  }
}

// The first file of an id hides those of less important folders, also when it names no window itself.
void ApplicationNames::add(const std::string& id, const fs::path& file) {
  if (!known_.insert(id).second) return;
  const auto entry = readDesktopFile(file.string());
  if (!entry || entry->name.empty() || entry->isHidden || entry->needsTerminal) return;
  const std::string executable(entry->arguments.empty() ? "" : fileName(entry->arguments.front()));
  entries_.push_back({.id = repairedUTF8(id),
                      .name = entry->name,
                      .windowClass = entry->windowClass,
                      .program = programOf(executable, entry->arguments).name,
                      .path = file.string()});
}

ApplicationIdentity ApplicationNames::identify(const WindowHints& window, std::int32_t pid) const {
  return identify(window, runningProgram(pid));
}

ApplicationIdentity ApplicationNames::identify(const WindowHints& window,
                                               const RunningProgram& program) const {
  if (const Entry* entry = find(window, program)) return {entry->id, entry->name};
  const std::string& windowClass = window.className;
  // Scripts of one toolkit often share a class ("Tk"), so the script distinguishes them.
  const std::string own = repairedUTF8(program.isScript || windowClass.empty() ? program.name : windowClass);
  const std::string name = repairedUTF8(windowClass.empty() ? program.name : windowClass);
  return {fmt::format("x11.{}", !own.empty() ? own : !name.empty() ? name : "unknown"), name};
}

const ApplicationNames::Entry* ApplicationNames::find(const WindowHints& window,
                                                      const RunningProgram& program) const {
  if (const Entry* entry = withID(window.applicationID)) return entry;
  if (const Entry* entry = withPath(window.applicationID)) return entry;
  if (const Entry* entry = withPath(program.launchedBy)) return entry;
  const auto first = [this](const std::string& value, auto matches) -> const Entry* {
    if (value.empty()) return nullptr;
    const auto entry = std::ranges::find_if(entries_, matches);
    return entry == entries_.end() ? nullptr : &*entry;
  };
  for (const std::string& name : {window.className, window.instanceName})
    if (const auto* entry = first(name, [&](const auto& e) { return e.windowClass == name; })) return entry;
  const std::string lower = loweredASCII(window.className);
  if (const auto* entry = first(lower, [&](const auto& e) { return loweredASCII(e.id) == lower; }))
    return entry;
  return first(program.name, [&](const auto& e) { return e.program == program.name; });
}

const ApplicationNames::Entry* ApplicationNames::withID(const std::string& id) const {
  const auto entry = std::ranges::find(entries_, id, &Entry::id);
  return id.empty() || entry == entries_.end() ? nullptr : &*entry;
}

const ApplicationNames::Entry* ApplicationNames::withPath(const std::string& path) const {
  const auto entry = std::ranges::find(entries_, path, &Entry::path);
  return path.empty() || entry == entries_.end() ? nullptr : &*entry;
}

}  // namespace quorl
