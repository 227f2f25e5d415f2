// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

/// The index.theme of an icon theme (Icon Theme Specification 0.13).
struct IconThemeIndex {
  struct Directory {
    std::string path;  // below the theme
    // In pixels: icons for sizes from `smallest` to `largest`.
    int smallest = 0;
    int largest = 0;

    bool operator==(const Directory&) const = default;
  };

  std::vector<Directory> directories;
  std::vector<std::string> parents;
};

/// Directories that lead out of the theme and those without a size are left out.
IconThemeIndex parseIconThemeIndex(std::string_view text);

/// Finds the PNG files of icons in the installed icon themes. The host does not know the desktop's theme: it
/// takes hicolor, where applications install their icons, then the common themes, then all others.
///
/// *Queue*: any thread; it has no state. *Blocking*: reads folders and files.
class IconTheme {
 public:
  /// `folders`: those that contain themes ("/usr/share/icons"), the most important first. `pixmaps`: those
  /// that contain icons of no theme.
  IconTheme(std::vector<std::string> folders, std::vector<std::string> pixmaps)
      : folders_(std::move(folders)), pixmaps_(std::move(pixmaps)) {}
  /// The folders of this user and system, for the data folders of `currentDataFolders`.
  static IconTheme ofThisUser(const std::vector<std::string>& dataFolders);

  /// The file of an icon: the nearest to `side` pixels that need not be enlarged, else the largest. `name` is
  /// a plain name, or an absolute path of a PNG file.
  std::optional<std::string> find(const std::string& name, int side) const;

 private:
  std::vector<std::string> themes() const;
  std::optional<IconThemeIndex> readIndex(const std::string& theme) const;
  std::optional<std::string> findIn(const std::string& theme, const IconThemeIndex& index,
                                    const std::string& file, int side) const;

  std::vector<std::string> folders_;
  std::vector<std::string> pixmaps_;
};

}  // namespace quorl
