// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Shared/ClientStream.h>

namespace quorl::test {

/// A stream that records the calls of its connection.
///
/// *Queue*: the simulation's one thread.
class RecordingStream : public ClientStream {
 public:
  RecordingStream(StartStream asked, std::weak_ptr<StreamOutputSink> client)
      : request(std::move(asked)), sink(std::move(client)) {}

  void start() override { calls.emplace_back("start"); }
  void stop() override { calls.emplace_back("stop"); }
  void update(const StreamConfig& config) override {
    calls.push_back(fmt::format("update {}", config.maxFPS));
  }
  void requestKeyframe() override { calls.emplace_back("keyframe"); }
  void updateAspect(double pointsWide, double pointsHigh) override {
    calls.push_back(fmt::format("aspect {} {}", pointsWide, pointsHigh));
  }
  void setAutoFit(bool enabled) override { calls.push_back(fmt::format("fit {}", enabled)); }
  void setWindowScale(double scale) override { calls.push_back(fmt::format("scale {}", scale)); }
  void raiseForInput(const HoldInput& holdInput) override {
    calls.emplace_back("raise");
    if (isRaised) hold = holdInput();
  }
  PointRect currentContentRect() const override { return contentRect; }

  const StartStream request;
  const std::weak_ptr<StreamOutputSink> sink;
  PointRect contentRect{{100, 200}, {400, 300}};
  std::vector<std::string> calls;
  bool isRaised = false;  // by input, until the test releases `hold`
  InputHold hold;
};

}  // namespace quorl::test
