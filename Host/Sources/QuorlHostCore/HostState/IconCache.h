// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/RunningApplications.h>

namespace quorl {

/// Icons by bundle identifier. An icon is rendered once, one at a time and apart from the owner's queue, and
/// is kept until the end of the process, even if the application is updated meanwhile.
///
/// *Queue*: the owner's, given at creation; it renders on "quorl.icons".
/// *Blocking*: none.
/// *Ownership*: the owner's, made with std::make_shared. *Lifetime*: a render holds it weakly.
class IconCache : public std::enable_shared_from_this<IconCache> {
 public:
  static constexpr int iconSide = 48;  // pixels
  /// A program chooses its identifier and can change it at any time. Beyond this number no icon is rendered.
  static constexpr std::size_t maxIcons = 2048;

  /// Without a port there are no icons.
  IconCache(SerialQueue owner, std::shared_ptr<RunningApplications> applications);

  /// The icon if it is there. Else begins to render it, unless that is under way, so that a later call
  /// returns it. A render that fails is repeated by the next call.
  std::optional<Bytes> icon(const std::string& bundleID, std::int32_t pid);

 private:
  void rendered(const std::string& bundleID, std::optional<Bytes> png);

  const SerialQueue owner_;
  const SerialQueue renderQueue_;
  const std::shared_ptr<RunningApplications> applications_;
  std::map<std::string, Bytes> icons_ QUORL_GUARDED_BY(owner_);
  std::set<std::string> pending_ QUORL_GUARDED_BY(owner_);
};

}  // namespace quorl
