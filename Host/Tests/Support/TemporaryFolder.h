// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <QuorlKit/Foundation/Check.h>

namespace quorl::test {

/// A folder under the system's temporary folder, removed with all that is in it.
///
/// *Ownership*: the test's. Header only, so that tests of the client use it without the host's fakes.
class TemporaryFolder {
 public:
  // The name does not contain the host's: a command line that names the host is not an agent.
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "test-folder-XXXXXX").string();
    QUORL_CHECK(::mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
    path_ = std::filesystem::canonical(pattern);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  /// Canonical, without links.
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  /// Writes a file below the folder, creates its folders, and returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    const std::filesystem::path path = path_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path.string();
  }

 private:
  std::filesystem::path path_;
};

}  // namespace quorl::test
