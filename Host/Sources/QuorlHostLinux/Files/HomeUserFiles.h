// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

/// The user's files on Linux. A path is resolved to a handle (O_PATH), which has no effect on what it leads
/// to; the handle is checked and the checked one is opened.
///
/// *Queue*: any, several at once; it has no state.
class HomeUserFiles final : public UserFiles {
 public:
  struct Places {
    std::string home;
    std::string configuration;  // has user-dirs.dirs
    std::string temporary;
  };

  /// Whether a file that is received has no name in the file system, or a hidden one where the file system
  /// needs one.
  enum class Incoming : std::uint8_t { unnamed, hidden };

  explicit HomeUserFiles(Places places, Incoming incoming = Incoming::unnamed);

  /// Of this process.
  static Places currentPlaces();

  std::string homeDirectory() override { return places_.home; }
  std::optional<std::string> homeDirectoryOf(const std::string& userName) override;
  std::vector<std::string> volumeDirectories() override;
  std::string temporaryDirectory() override { return places_.temporary; }
  std::optional<std::string> downloadsDirectory() override;

  std::string canonicalPath(const std::string& path) override;
  std::expected<std::unique_ptr<UserPlace>, PortError> find(const std::string& path) override;
  std::expected<bool, PortError> isTaken(const std::string& folder, const std::string& name) override;
  std::expected<std::unique_ptr<IncomingFile>, PortError> create(const std::string& folder) override;

 private:
  const Places places_;
  const Incoming incoming_;
};

/// The folder for downloads in the text of user-dirs.dirs (xdg-user-dirs): `XDG_DOWNLOAD_DIR="$HOME/..."` or
/// an absolute path. Nothing if the line is missing, malformed or names the home folder, which means that
/// there is none.
std::optional<std::string> downloadFolderIn(std::string_view userDirs, const std::string& home);

}  // namespace quorl
