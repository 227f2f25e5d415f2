// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// The file that this process was started from, and whether another one has taken its place since.
///
/// *Queue*: any; a value.
class InstalledProgram {
 public:
  /// To be called at the start: later the kernel may know the file only as deleted (proc(5), /proc/pid/exe).
  static InstalledProgram ofThisProcess();

  const std::string& path() const { return path_; }
  /// There is a file at the path, and it is not the one that runs: they differ in device or inode.
  bool isAnother() const;

 private:
  std::string path_;
};

}  // namespace quorl
