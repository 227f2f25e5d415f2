// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// What the machine is called and what it is. Each is empty when it cannot be read.
class MachineFacts {
 public:
  virtual ~MachineFacts() = default;
  virtual std::string computerName() = 0;
  virtual std::string hardwareModel() = 0;
  virtual std::string operatingSystemVersion() = 0;
};

}  // namespace quorl
