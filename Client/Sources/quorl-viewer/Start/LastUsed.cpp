// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/LastUsed.h>

#include <algorithm>
#include <fstream>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlUnix/AtomicFile.h>

namespace quorl::viewer {
namespace {

constexpr std::size_t longest = 100;

}  // namespace

std::vector<UUID> LastUsed::load() const {
  std::vector<UUID> hosts;
  std::ifstream file(path_);
  for (std::string line; hosts.size() < longest && std::getline(file, line);)
    if (const auto host = UUID::parse(line)) hosts.push_back(*host);
  return hosts;
}

void LastUsed::note(const UUID& host) const {
  auto hosts = load();
  std::erase(hosts, host);
  hosts.insert(hosts.begin(), host);
  std::string text;
  for (const auto& known : hosts) text += known.text() + '\n';
  std::error_code error;
  std::filesystem::create_directory(path_.parent_path(), error);
  if (!error) std::filesystem::permissions(path_.parent_path(), std::filesystem::perms::owner_all, error);
  [[maybe_unused]] const auto written = writeFileAtomically(path_, viewOf(text), FileAccess::ownerOnly);
}

}  // namespace quorl::viewer
