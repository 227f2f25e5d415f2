// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace quorl::test {

/// The most memory that the program has had at once since this was made, beyond what it had then. Counts what
/// `new` gives, on all threads. One at a time.
class AllocationPeak {
 public:
  AllocationPeak();
  std::size_t extraBytes() const;

 private:
  std::size_t before_;
};

}  // namespace quorl::test
