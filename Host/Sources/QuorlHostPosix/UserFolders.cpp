// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/UserFolders.h>

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace quorl {

namespace {

std::optional<std::string> absolutePath(const Environment& environment, const char* name) {
  auto value = environment(name);
  if (!value || !value->starts_with('/')) return std::nullopt;
  return value;
}

struct PasswordEntry {
  std::string name;
  std::string home;
};

std::optional<PasswordEntry> ownPasswordEntry() {
  std::vector<char> buffer(16'384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
    return std::nullopt;
  return PasswordEntry{found->pw_name, found->pw_dir};
}

}  // namespace

UserFolders userFolders(const Environment& environment, const std::string& passwordFileHome) {
  const std::string home = absolutePath(environment, "HOME").value_or(passwordFileHome);
  const auto last = home.starts_with('/') ? home.find_last_not_of('/') : std::string::npos;
  const std::string prefix = last == std::string::npos ? std::string() : home.substr(0, last + 1);
  UserFolders folders;
  folders.home = prefix.empty() ? std::string(1, '/') : prefix;
  folders.data = absolutePath(environment, "XDG_DATA_HOME").value_or(prefix + "/.local/share");
  folders.configuration = absolutePath(environment, "XDG_CONFIG_HOME").value_or(prefix + "/.config");
  return folders;
}

UserFolders currentUserFolders() {
  const auto entry = ownPasswordEntry();
  return userFolders(processEnvironment(), entry ? entry->home : "");
}

Environment processEnvironment() {
  return [](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    if (!value) return std::nullopt;
    return value;
  };
}

std::string currentUserName() {
  const auto entry = ownPasswordEntry();
  return entry && !entry->name.empty() ? entry->name : std::to_string(::geteuid());
}

}  // namespace quorl
