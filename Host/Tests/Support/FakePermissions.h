// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/Permissions.h>

namespace quorl::test {

/// Permissions that a test grants and revokes. Counts the requests.
class FakePermissions : public Permissions {
 public:
  bool mayPostInput() override { return input; }
  bool mayCaptureScreen() override { return screen; }
  void requestInput() override { ++inputRequests; }
  void requestScreenCapture() override { ++screenRequests; }

  bool input = true;
  bool screen = true;
  int inputRequests = 0;
  int screenRequests = 0;
};

}  // namespace quorl::test
