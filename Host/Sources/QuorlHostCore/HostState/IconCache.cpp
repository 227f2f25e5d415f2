// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/IconCache.h>

#include <utility>

namespace quorl {

IconCache::IconCache(SerialQueue owner, std::shared_ptr<RunningApplications> applications)
    : owner_(std::move(owner)),
      renderQueue_(owner_.scheduler(), "quorl.icons", QueueRank::adapter),
      applications_(std::move(applications)) {}

std::optional<Bytes> IconCache::icon(const std::string& bundleID, std::int32_t pid) {
  owner_.assertCurrent();
  if (const auto found = icons_.find(bundleID); found != icons_.end()) return found->second;
  if (!applications_ || icons_.size() + pending_.size() >= maxIcons) return std::nullopt;
  if (!pending_.insert(bundleID).second) return std::nullopt;
  renderQueue_.async(
      [weak = weak_from_this(), applications = applications_, queue = renderQueue_, bundleID, pid] {
        std::optional<Bytes> png;
        queue.scheduler().blocking([&] { png = applications->iconPNG(bundleID, pid, iconSide); });
        if (const auto self = weak.lock()) self->rendered(bundleID, std::move(png));
      });
  return std::nullopt;
}

void IconCache::rendered(const std::string& bundleID, std::optional<Bytes> png) {
  owner_.async([self = shared_from_this(), bundleID, png = std::move(png)]() mutable {
    self->owner_.assertCurrent();
    self->pending_.erase(bundleID);
    if (png && !png->empty()) self->icons_.emplace(bundleID, std::move(*png));
  });
}

}  // namespace quorl
