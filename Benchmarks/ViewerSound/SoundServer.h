// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "../Support/Program.h"

namespace quorl::bench {

/// A private sound server whose only output, "out", plays into nothing at the speed of the clock.
class SoundServer {
 public:
  /// Throws if the server does not start. `folder` exists; the server writes there.
  explicit SoundServer(const std::string& folder);

  /// For PULSE_SERVER.
  const std::string& address() const { return address_; }
  /// What the output plays.
  static constexpr const char* monitor = "out.monitor";

 private:
  std::string address_;
  Program server_;
};

}  // namespace quorl::bench
