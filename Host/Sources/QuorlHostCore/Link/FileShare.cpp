// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Link/FileShare.h>

#include <algorithm>

namespace quorl {

namespace {

constexpr Duration activity = std::chrono::seconds(1);
// The rate of an encoder varies around the wanted rate.
constexpr double pictureVariation = 1.5;

double seconds(Duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

std::size_t FileShare::pieceAt(MonotonicTime now, const Link& link) const {
  if (!link.isOpen || link.underWay > mostUnderWay) return 0;
  if (link.wantedByPictures > 0 && nextAt_ && now < *nextAt_) return 0;
  if (link.rate <= 0) return firstPiece;
  const double piece = std::min(link.rate * seconds(pieceTime), static_cast<double>(largestPiece));
  return std::max(static_cast<std::size_t>(piece), smallestPiece);
}

void FileShare::admitted(MonotonicTime now, std::size_t bytes, const Link& link) {
  admittedAt_ = now;
  if (link.wantedByPictures <= 0 || link.rate <= 0) {
    nextAt_.reset();
    return;
  }
  const double share = std::max(link.rate * leastShare, link.rate - link.wantedByPictures * pictureVariation);
  const auto time = std::chrono::duration_cast<Duration>(
      std::chrono::duration<double>(std::min(static_cast<double>(bytes) / share, 1.0)));
  // A turn that came late is made up for, by at most one piece.
  nextAt_ = std::max(nextAt_.value_or(now), now - time) + time;
}

std::optional<Duration> FileShare::wait(MonotonicTime now) const {
  if (!nextAt_ || now >= *nextAt_) return std::nullopt;
  return *nextAt_ - now;
}

bool FileShare::isActive(MonotonicTime now) const {
  return admittedAt_ && now - *admittedAt_ < activity;
}

}  // namespace quorl
