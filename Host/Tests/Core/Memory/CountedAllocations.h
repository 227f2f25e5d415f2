// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace quorl::test {

/// The peak of allocated memory since construction, beyond what was allocated then. Counts all threads' use
/// of `new`. One instance at a time.
class AllocationPeak {
 public:
  AllocationPeak();
  std::size_t extraBytes() const;

 private:
  std::size_t before_;
};

}  // namespace quorl::test
