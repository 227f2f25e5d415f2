// SPDX-License-Identifier: GPL-3.0-or-later
#include <Linux/Agents/TemporaryFolder.h>

#include <stdlib.h>

#include <fstream>

#include <QuorlKit/Foundation/Check.h>

namespace quorl::test {

// Not called after the host: a command line that names the host is nobody's agent.
TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "agents-XXXXXX").string();
  QUORL_CHECK(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
  path_ = std::filesystem::canonical(pattern).string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& text) const {
  const std::filesystem::path path = std::filesystem::path(path_) / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
  return path.string();
}

}  // namespace quorl::test
