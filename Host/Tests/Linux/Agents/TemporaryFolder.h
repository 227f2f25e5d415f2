// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

namespace quorl::test {

/// A folder of the test's own, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::string& path() const { return path_; }
  /// Writes a file below the folder, its folders too; gives its path.
  std::string write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

}  // namespace quorl::test
