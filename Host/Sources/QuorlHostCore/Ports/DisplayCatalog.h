// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

struct DisplayFacts {
  struct Mode {
    std::int64_t pixelWidth = 0;
    std::int64_t pixelHeight = 0;
    std::int64_t pointWidth = 0;
  };

  PointRect bounds;  // global, in points
  std::optional<Mode> mode;
  std::string name;  // empty when the platform has none
  bool isBuiltIn = false;
  bool isMain = false;
};

/// The displays of this session, apart from what can be captured.
///
/// *Queue*: any thread, also where the platform's own calls belong to the main thread. There are no
/// callbacks. *Blocking*: none; the adapter keeps the facts and refreshes them when the platform reports a
/// change. The state that is sent after a time limit is made from them. *Ownership*: returns copies.
/// *Lifetime*: no call may run during the destruction.
class DisplayCatalog {
 public:
  virtual ~DisplayCatalog() = default;

  /// Displays that show pictures, and those that are connected. At most `limit` of them.
  virtual std::vector<std::uint32_t> activeDisplays(std::size_t limit) = 0;
  virtual std::vector<std::uint32_t> onlineDisplays(std::size_t limit) = 0;

  /// Absent when there is no such display any more.
  virtual std::optional<DisplayFacts> facts(std::uint32_t displayID) = 0;
};

}  // namespace quorl
