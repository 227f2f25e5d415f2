// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <Support/FakeWindowControl.h>
#include <Support/LogRecorder.h>

#include "StreamSessionFixture.h"

namespace quorl::test {

/// Stream 7 on a desktop with a display of 1440x832 points, 800 of them visible, and windows that can be
/// controlled.
class StreamWindowFixture : public StreamSessionFixture {
 protected:
  StreamWindowFixture() {
    platform_.windows = windows_;
    screen_->content = oneDisplay({1440, 832}, 5);
    screen_->refresh = [this](ShareableContent& content) { refresh(content); };
    request_.target = streamTarget::Window{77};
  }

  FakeWindowControl::Entry& addWindow(std::uint32_t windowID, std::int32_t pid, const std::string& title,
                                      PointRect frame) {
    FakeWindowControl::Entry entry;
    entry.windowID = windowID;
    entry.pid = pid;
    entry.title = title;
    entry.frame = frame;
    windows_->entries.push_back(entry);
    return windows_->entries.back();
  }
  FakeWindowControl::Entry& addNotes() {
    applications_["org.example.notes"] = 42;
    return addWindow(77, 42, "Notes", {{100, 50}, {640, 480}});
  }
  /// A view of 1500x1000: the fit of a window is 1200x800.
  void setClientView() {
    request_.clientPointWidth = 1500;
    request_.clientPointHeight = 1000;
  }
  void startNotes() {
    addNotes();
    start();
    settle();
  }
  void startFittedNotes() {
    setClientView();
    startNotes();
    ASSERT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  }
  PointRect frameOf(std::uint32_t windowID) {
    const auto* entry = windows_->find(windowID);
    return entry ? entry->frame : PointRect{};
  }
  void resize(std::uint32_t windowID, double wider, double higher) {
    auto& size = windows_->find(windowID)->frame.size;
    size = {size.width + wider, size.height + higher};
  }
  /// Runs what is ready, also on the main thread.
  void settle() {
    scheduler_.runReady();
    mainThread_->runPending();
    scheduler_.runReady();
  }
  void advance(Duration span) {
    scheduler_.advance(span);
    settle();
  }
  void stop() {
    session_->stop();
    settle();
  }
  void endCapture() {
    screen_->endCapture({"the window was closed", 0});
    settle();
  }
  /// Records the hold and its release among the calls of the window control.
  HoldInput holdInput() {
    return [windows = windows_] {
      windows->calls.emplace_back("hold");
      return InputHold(nullptr, [windows](std::nullptr_t) { windows->calls.emplace_back("release"); });
    };
  }
  std::vector<std::string> sizesSet() const { return windows_->callsOf("setSize"); }

  std::shared_ptr<FakeWindowControl> windows_ = std::make_shared<FakeWindowControl>();
  std::map<std::string, std::int32_t> applications_;  // by bundle identifier
  LogRecorder log_;

 private:
  void refresh(ShareableContent& content) {
    content.windows.clear();
    for (const auto& entry : windows_->entries)
      content.windows.push_back({.windowID = entry.windowID,
                                 .pid = entry.pid,
                                 .title = entry.title,
                                 .frame = entry.frame,
                                 .isOnScreen = entry.isOnScreen,
                                 .layer = entry.layer});
    content.applications.clear();
    for (const auto& [bundleID, pid] : applications_)
      content.applications.push_back({bundleID, bundleID, pid});
  }
};

}  // namespace quorl::test
