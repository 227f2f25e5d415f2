// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Display/StreamSession.h>
#include <Support/FakeMainThread.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeVideoCompressor.h>
#include <Support/RecordingSink.h>

namespace quorl::test {

/// Stream 7 on a fake screen with one display and a fake encoder.
class StreamSessionFixture : public testing::Test {
 protected:
  StreamSessionFixture() {
    platform_.scheduler = &scheduler_;
    platform_.screen = screen_;
    platform_.compressors = compressors_;
    platform_.mainThread = mainThread_;
    screen_->content = oneDisplay({1920, 1080}, 5);
    request_.streamID = 7;
    request_.target = streamTarget::Unified{};
    request_.config = {
        .maxDimension = 4096, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.5, .showsCursor = true};
  }

  void make() { session_ = std::make_shared<StreamSession>(request_, sink_, platform_, originals_); }
  void start() {
    if (!session_) make();
    session_->start();
    scheduler_.runReady();
  }
  void startWindow() {
    ShareableWindow window;
    window.windowID = 77;
    window.pid = 42;
    window.title = "Notes";
    window.frame = {{100, 50}, {640, 480}};
    window.isOnScreen = true;
    screen_->content->windows.push_back(window);
    screen_->content->applications.push_back({"org.example.notes", "Notes", 42});
    request_.target = streamTarget::Window{77};
    start();
  }
  std::vector<StreamStarted> started() const {
    std::vector<StreamStarted> all;
    for (const auto& message : sink_->messages<message::StreamStarted>()) all.push_back(message._0);
    return all;
  }
  std::vector<WireError> errors() const {
    std::vector<WireError> all;
    for (const auto& message : sink_->messages<message::Error>()) all.push_back(message._0);
    return all;
  }
  std::vector<bool> fitStates() const {
    std::vector<bool> all;
    for (const auto& message : sink_->messages<message::FitState>()) all.push_back(message.fitted);
    return all;
  }
  void expectFailure(const std::string& code, const std::string& text) {
    EXPECT_EQ(errors(), (std::vector{WireError{code, "stream 7: " + text}}));
    EXPECT_EQ(screen_->runningStreams(), 0U);
    EXPECT_EQ(compressors_->runningSessions(), 0U);
  }

  SimulatedScheduler scheduler_;
  std::shared_ptr<FakeScreenCapture> screen_ = std::make_shared<FakeScreenCapture>(scheduler_);
  std::shared_ptr<FakeVideoCompressorFactory> compressors_ = std::make_shared<FakeVideoCompressorFactory>();
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  std::shared_ptr<FakeMainThread> mainThread_ = std::make_shared<FakeMainThread>();
  std::shared_ptr<OriginalFrames> originals_ = std::make_shared<OriginalFrames>();
  Platform platform_;
  StartStream request_;
  std::shared_ptr<StreamSession> session_;
};

}  // namespace quorl::test
