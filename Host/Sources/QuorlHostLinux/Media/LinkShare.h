// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// The bits that a link allows for the next picture, so that pictures which miss their size still fill the
/// link on average. The next picture may use the bits that one left, up to 1.4 pictures in all, and pays for
/// the bits that one took too many, down to four fifths of a picture. Whether a picture may be sent at all is
/// decided elsewhere.
///
/// *Queue*: that of its owner.
class LinkShare {
 public:
  using Time = std::chrono::microseconds;

  void setRates(const std::optional<LinkRates>& link) {
    if (link && !link_) credit_ = 0;
    link_ = link;
  }
  void advance(Time presentationTime) {
    if (link_ && last_ && presentationTime > *last_) {
      const double seconds = std::chrono::duration<double>(presentationTime - *last_).count();
      credit_ = std::min(credit_ + seconds * static_cast<double>(link_->bitRate), mostCredit * picture());
    }
    last_ = presentationTime;
  }
  void spend(double bits) {
    if (link_) credit_ = std::max(credit_ - bits, -picture());
  }
  /// Nothing if the link is no limit.
  std::optional<double> available() const {
    if (!link_) return std::nullopt;
    return std::max(credit_, leastShare * picture());
  }

 private:
  static constexpr double mostCredit = 1.4;  // pictures
  static constexpr double leastShare = 0.8;

  double picture() const { return static_cast<double>(link_->pictureBytes) * 8; }

  std::optional<LinkRates> link_;
  std::optional<Time> last_;
  double credit_ = 0;
};

}  // namespace quorl
