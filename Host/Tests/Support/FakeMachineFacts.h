// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/MachineFacts.h>

namespace quorl::test {

/// A machine whose facts a test sets.
class FakeMachineFacts : public MachineFacts {
 public:
  std::string computerName() override { return name; }
  std::string hardwareModel() override { return model; }
  std::string operatingSystemVersion() override { return version; }

  std::string name = "Workbench";
  std::string model = "Bench1,1";
  std::string version = "Version 1.0";
};

}  // namespace quorl::test
