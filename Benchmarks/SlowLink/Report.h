// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "LimitedLink.h"
#include "Measurement.h"

namespace quorl::bench {

/// The stream while a file is moved over the same link.
struct BesideFile {
  Steady stream;
  double fileMegabits = 0;  // Mbit/s of the file
};

/// The results of one link.
struct LinkResults {
  Samples quiet;  // echoes before the stream starts
  std::optional<Steady> host;
  std::optional<Steady> peer;
  std::optional<BesideFile> upload;
  std::optional<BesideFile> download;
  std::optional<Recovery> thin;
  std::optional<Recovery> stall;
  std::optional<Samples> stops;
};

/// Prints a Markdown table with the goals for this link; returns the number of missed goals.
int report(const LinkShape& shape, const LinkResults& results);

}  // namespace quorl::bench
