// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// How many bits a link leaves to the next picture, so that pictures that miss their size fill it on average:
/// what one leaves the next may use, up to a bit over half a picture, and what one takes too much the next
/// goes without, down to four fifths of one. Whether there is room for a picture at all is not decided here.
///
/// *Queue*: none of its own; a value of its owner's.
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
  /// Nothing where the link is no limit.
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
