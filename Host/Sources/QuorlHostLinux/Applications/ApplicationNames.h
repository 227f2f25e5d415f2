// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <QuorlHostLinux/Applications/DesktopFile.h>

namespace quorl {

struct ApplicationIdentity {
  std::string bundleID;  // desktop-file id without ".desktop", else "x11." and the window's class or program
  std::string name;

  bool operator==(const ApplicationIdentity&) const = default;
};

/// The program of a process: an executable, or the script of an interpreter.
struct RunningProgram {
  std::string name;       // file name of the executable; empty when unknown
  bool isScript = false;  // `name` is the script's; the executable only interprets it
};

/// The program of a command line. `executable` is the file name of what the process executes. An interpreter
/// without a script has no name.
RunningProgram programOf(const std::string& executable, const std::vector<std::string>& arguments);

/// Names the application of a window after its desktop file.
///
/// A desktop file matches a window by the window's class or by the program that its command line starts. A
/// desktop file that is hidden or runs in a terminal matches none: its program is a tool of other
/// applications. An interpreter matches none either: two Python programs are two applications.
///
/// *Queue*: one thread at a time. *Blocking*: `refresh` reads files when a folder has changed, `identify`
/// reads /proc.
class ApplicationNames {
 public:
  /// `dataFolders`: as `currentDataFolders` lists them; the first with a match wins.
  explicit ApplicationNames(const std::vector<std::string>& dataFolders = currentDataFolders());

  /// Reads the folders again if one of them has changed.
  void refresh();

  /// `pid` is 0 when unknown.
  ApplicationIdentity identify(const std::string& windowClass, std::int32_t pid) const;
  ApplicationIdentity identify(const std::string& windowClass, const RunningProgram& program) const;

 private:
  struct Entry {
    std::string id;
    std::string name;
    std::string windowClass;
    std::string program;
  };

  void add(const std::filesystem::path& file);

  std::vector<std::filesystem::path> folders_;
  std::map<std::filesystem::path, std::filesystem::file_time_type> seen_;
  std::vector<Entry> entries_;
};

}  // namespace quorl
