// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostLinux/Applications/DesktopFile.h>

namespace quorl {

struct ApplicationIdentity {
  std::string bundleID;  // desktop-file id without ".desktop", else "x11." and the window's class or program
  std::string name;

  bool operator==(const ApplicationIdentity&) const = default;
};

/// What a window says about its application; each text may be empty.
struct WindowHints {
  std::string className;
  std::string instanceName;
  std::string applicationID;  // a desktop-file id or the path of a desktop file
};

/// The program of a process: an executable, or the script of an interpreter.
struct RunningProgram {
  std::string name;        // file name of the executable; empty when unknown
  bool isScript = false;   // `name` is the script's; the executable only interprets it
  std::string launchedBy;  // the path of the desktop file that launched it; empty when unknown
};

/// The program of a command line. `executable` is the file name of what the process executes. An interpreter
/// without a script has no name.
RunningProgram programOf(const std::string& executable, const std::vector<std::string>& arguments);

/// The desktop file that launched a process, from its environment ("NAME=value", each ended by a zero):
/// GIO_LAUNCHED_DESKTOP_FILE. Children inherit it, so it counts only where GIO_LAUNCHED_DESKTOP_FILE_PID is
/// the process itself. Empty when there is none.
std::string launchingDesktopFile(const std::string& environment, std::int32_t pid);

/// Names the application of a window after its desktop file.
///
/// A desktop file matches a window by, in this order: the id that the window claims, the file that launched
/// its process, the class or instance of the window, and the program that the command line starts. A desktop
/// file that is hidden or runs in a terminal matches none: its program is a tool of other applications. An
/// interpreter matches none either: two Python programs are two applications.
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
  ApplicationIdentity identify(const WindowHints& window, std::int32_t pid) const;
  ApplicationIdentity identify(const WindowHints& window, const RunningProgram& program) const;

 private:
  struct Entry {
    std::string id;
    std::string name;
    std::string windowClass;
    std::string program;
    std::string path;
  };

  void readFolder(const std::filesystem::path& folder);
  void add(const std::string& id, const std::filesystem::path& file);
  const Entry* find(const WindowHints& window, const RunningProgram& program) const;
  const Entry* withID(const std::string& id) const;
  const Entry* withPath(const std::string& path) const;

  std::vector<std::filesystem::path> folders_;
  std::vector<std::filesystem::path> watched_;  // the folders and their subfolders
  std::map<std::filesystem::path, std::filesystem::file_time_type> seen_;
  std::set<std::string> known_;  // ids, also of files that name no window
  std::vector<Entry> entries_;
};

}  // namespace quorl
