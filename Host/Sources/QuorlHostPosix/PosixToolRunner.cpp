// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixToolRunner.h>

#include <sys/stat.h>
#include <unistd.h>

#include <ranges>
#include <string_view>

#include <QuorlHostPosix/BoundedTool.h>

namespace quorl {

ToolResult PosixToolRunner::run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) {
  return runBoundedTool(arguments, limit);
}

bool PosixToolRunner::isExecutable(const std::string& path) {
  struct stat facts{};
  return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) && access(path.c_str(), X_OK) == 0;
}

bool PosixToolRunner::exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::optional<std::string> PosixToolRunner::findInPath(const std::string& name) {
  for (const auto part : std::views::split(path_, ':')) {
    const std::string folder(part.begin(), part.end());
    if (!folder.starts_with('/')) continue;
    std::string candidate = folder + "/" + name;
    if (isExecutable(candidate)) return candidate;
  }
  return std::nullopt;
}

}  // namespace quorl
