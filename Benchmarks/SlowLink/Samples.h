// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace quorl::bench {

/// Times in milliseconds. A request that was not answered before the end counts with its age at the end.
struct Samples {
  std::vector<double> values;
  std::size_t unanswered = 0;

  void add(std::chrono::steady_clock::duration duration) {
    values.push_back(std::chrono::duration<double, std::milli>(duration).count());
  }

  double quantile(double share) const {
    if (values.empty()) return 0;
    auto sorted = values;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1) + 0.5)];
  }

  double mean() const {
    double sum = 0;
    for (const double value : values) sum += value;
    return values.empty() ? 0 : sum / static_cast<double>(values.size());
  }
};

}  // namespace quorl::bench
