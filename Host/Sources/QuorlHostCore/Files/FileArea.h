// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/UserFiles.h>

namespace quorl {

/// The part of the file system that clients may browse: the home folder, the folders of mounted volumes and
/// the temporary folder, each with links resolved.
///
/// *Queue*: any thread. The area is determined once, on first use.
/// *Blocking*: every call takes as long as the disk does.
/// *Ownership*: shared by the browsers of all clients.
class FileArea {
 public:
  explicit FileArea(std::shared_ptr<UserFiles> files);

  /// The path that a client means: an empty one is the home folder, "~" and "~name" are home folders.
  std::string expand(const std::string& requested) const;

  enum class Refusal : std::uint8_t {
    denied,  // outside the area
    failed,  // inside, but it cannot be reached
  };
  struct Refused {
    Refusal why;
    PortError error;  // of `failed`
  };
  /// What the path leads to, if that is inside the area. The check applies to what was found, so a link that
  /// changes afterwards does not lead out.
  std::expected<std::unique_ptr<UserPlace>, Refused> find(const std::string& path) const;

  /// Whether the area holds this path, which is free of links.
  bool contains(const std::string& canonicalPath) const;

 private:
  struct Places {
    std::string home;
    std::vector<std::string> roots;
  };
  const Places& places() const;

  const std::shared_ptr<UserFiles> files_;
  mutable std::once_flag isDetermined_;
  mutable Places places_;
};

}  // namespace quorl
