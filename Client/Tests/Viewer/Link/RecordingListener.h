// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include <quorl-viewer/Link/LinkListener.h>

namespace quorl::viewer::test {

/// Everything that a link has reported.
struct LinkRecord {
  std::vector<LinkStatus> statuses;
  std::vector<DeviceInfo> hosts;
  std::vector<ControlMessage> messages;
  std::map<StreamKey, std::vector<StreamStarted>> started;
  std::map<StreamKey, std::vector<client::DecoderConfig>> configs;
  std::map<StreamKey, std::vector<client::EncodedPicture>> pictures;
  std::map<StreamKey, std::vector<client::ClientError>> failures;
  std::map<StreamKey, std::vector<StreamEnd>> ends;
  std::vector<client::SoundEvent> sound;
  std::vector<Clock::duration> roundTrips;
  LinkCounters counters;
  std::vector<std::optional<client::ClientError>> clipboards;

  LinkStatus::State state() const {
    return statuses.empty() ? LinkStatus::State::stopped : statuses.back().state;
  }
  bool has(LinkStatus::State state) const {
    for (const auto& status : statuses)
      if (status.state == state) return true;
    return false;
  }
};

/// *Queue*: any; the record is changed and read under its lock.
class RecordingListener final : public LinkListener {
 public:
  /// Waits until the condition holds for the record; false after half a minute.
  bool waitUntil(const std::function<bool(const LinkRecord&)>& condition) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, std::chrono::seconds(30), [&] { return condition(record_); });
  }
  LinkRecord record() const {
    const std::scoped_lock guard(lock_);
    return record_;
  }

  void onStatus(const LinkStatus& status) override {
    change([&](auto& record) { record.statuses.push_back(status); });
  }
  void onHost(const DeviceInfo& host) override {
    change([&](auto& record) { record.hosts.push_back(host); });
  }
  void onMessage(const ControlMessage& message, std::size_t) override {
    change([&](auto& record) { record.messages.push_back(message); });
  }
  void onStreamStarted(StreamKey stream, const StreamStarted& started) override {
    change([&](auto& record) { record.started[stream].push_back(started); });
  }
  void onStreamFailed(StreamKey stream, const client::ClientError& error) override {
    change([&](auto& record) { record.failures[stream].push_back(error); });
  }
  void onStreamEnded(StreamKey stream, StreamEnd end) override {
    change([&](auto& record) { record.ends[stream].push_back(end); });
  }
  void onDecoderConfig(StreamKey stream, client::DecoderConfig config) override {
    change([&](auto& record) { record.configs[stream].push_back(std::move(config)); });
  }
  void onPicture(StreamKey stream, client::EncodedPicture picture) override {
    change([&](auto& record) { record.pictures[stream].push_back(std::move(picture)); });
  }
  void onSound(client::SoundEvent event) override {
    change([&](auto& record) { record.sound.push_back(std::move(event)); });
  }
  void onRoundTrip(Clock::duration time, const LinkCounters& counters) override {
    change([&](auto& record) {
      record.roundTrips.push_back(time);
      record.counters = counters;
    });
  }
  void onClipboardSent(const std::optional<client::ClientError>& error) override {
    change([&](auto& record) { record.clipboards.push_back(error); });
  }

 private:
  template <class Change>
  void change(Change&& change) {
    const std::scoped_lock guard(lock_);
    change(record_);
    changed_.notify_all();
  }

  mutable std::mutex lock_;
  std::condition_variable changed_;
  LinkRecord record_;
};

}  // namespace quorl::viewer::test
