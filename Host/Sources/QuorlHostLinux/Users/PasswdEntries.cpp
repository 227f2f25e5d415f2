// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PasswdEntries.h>

#include <charconv>

namespace quorl {

namespace {

constexpr std::string_view blanks = " \t";

std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const auto word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

char capital(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

}  // namespace

LoginRange loginRangeOf(std::string_view loginDefs) {
  LoginRange range;
  while (!loginDefs.empty()) {
    auto line = loginDefs.substr(0, loginDefs.find('\n'));
    loginDefs.remove_prefix(std::min(line.size() + 1, loginDefs.size()));
    const auto key = takeWord(line);
    const auto value = takeWord(line);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size()) continue;
    if (key == "UID_MIN") range.first = number;
    if (key == "UID_MAX") range.last = number;
  }
  return range;
}

std::string fullNameOf(const PasswdEntry& entry) {
  std::string name;
  for (const char character : entry.gecos.substr(0, entry.gecos.find(','))) {
    if (character != '&' || entry.name.empty()) {
      name += character;
    } else {
      name += capital(entry.name[0]);
      name += entry.name.substr(1);
    }
  }
  return name;
}

bool hasLoginShell(const PasswdEntry& entry) {
  const auto program = std::string_view(entry.shell).substr(entry.shell.rfind('/') + 1);
  return program != "nologin" && program != "false";
}

std::vector<UserEntry> loginEntries(const std::vector<PasswdEntry>& entries, const LoginRange& range) {
  std::vector<UserEntry> users;
  for (const PasswdEntry& entry : entries)
    if (entry.uid >= range.first && entry.uid <= range.last && hasLoginShell(entry))
      users.push_back({entry.uid, entry.name, fullNameOf(entry)});
  return users;
}

}  // namespace quorl
