// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

#include "HostStateContent.h"

namespace quorl::test {

/// A provider on fakes, with one editor on the screen.
class HostStateFixture : public testing::Test {
 protected:
  using Audience = HostStateProvider::Audience;

  HostStateFixture() {
    platform_.screen->content->windows = {editorWindow(3, "document")};
    platform_.screen->content->applications = {{"org.example.editor", "Editor", 10}};
    platform_.runningApplications->icons["org.example.editor"] = bytesOf("png");
    provider_ = std::make_shared<HostStateProvider>(platform_.platform());
    provider_->setBroadcastState([this](HostState state, std::uint64_t content) {
      states_.push_back(std::move(state));
      contents_.push_back(content);
    });
    provider_->setBroadcastMetrics([this](const SystemMetrics& metrics) { metrics_.push_back(metrics); });
  }

  void ask() {
    provider_->buildState([this](HostState state) { answers_.push_back(std::move(state)); });
  }
  void askAndRun() {
    ask();
    simulation_.runReady();
  }
  void startWithAudience() {
    provider_->start();
    provider_->setAudience(Audience::present);
    simulation_.runReady();
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  std::shared_ptr<HostStateProvider> provider_;
  std::vector<HostState> answers_;
  std::vector<HostState> states_;
  std::vector<std::uint64_t> contents_;  // the numbers of the states' contents
  std::vector<SystemMetrics> metrics_;
};

}  // namespace quorl::test
