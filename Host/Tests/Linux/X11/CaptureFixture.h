// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>

#include <gtest/gtest.h>

#include <Support/XServerFixture.h>

#include "CaptureHarness.h"
#include "TestClient.h"

namespace quorl::test {

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t green = 0x00FF00;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t white = 0xFFFFFF;

inline CaptureSettings settingsOf(int width, int height, bool showsCursor = false) {
  return {.size = {width, height},
          .minimumFrameInterval = std::chrono::milliseconds(1),
          .showsCursor = showsCursor,
          .queueDepth = 5};
}

/// A 640 x 480 X server with a client that draws on it and a capture that watches it.
class CaptureFixture : public testing::Test {
 protected:
  std::uint32_t display() { return harness.content().displays.at(0).displayID; }

  XServer server{{.width = 640, .height = 480}};
  TestClient client{server.display()};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

}  // namespace quorl::test
