// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/HostStateProvider.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/HostState/DisplayInfos.h>
#include <QuorlHostCore/HostState/ListedWindows.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

// One enumeration. The platform's answer or the time limit takes the completions, whichever comes first.
struct HostStateProvider::Request {
  std::vector<Completion> completions;
  Timer limit;

  bool isAnswered() const { return completions.empty(); }
  void answer(const HostState& state) {
    limit.cancel();
    for (const Completion& completion : std::exchange(completions, {})) completion(state);
  }
};

HostStateProvider::HostStateProvider(const Platform& platform)
    : queue_(*platform.scheduler, "quorl.hoststate", QueueRank::service),
      screen_(platform.screen),
      displays_(platform.displays),
      applications_(platform.runningApplications),
      icons_(std::make_shared<IconCache>(queue_, platform.runningApplications)),
      sampler_(platform.metrics) {}

void HostStateProvider::setBroadcastState(BroadcastState broadcast) {
  queue_.sync([&] {
    queue_.assertCurrent();
    broadcastState_ = std::move(broadcast);
  });
}

void HostStateProvider::setBroadcastMetrics(BroadcastMetrics broadcast) {
  queue_.sync([&] {
    queue_.assertCurrent();
    broadcastMetrics_ = std::move(broadcast);
  });
}

// The periodic reports

void HostStateProvider::start() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->isStarted_ = true;
    self->updateTimers();
  });
}

void HostStateProvider::stop() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->isStarted_ = false;
    self->updateTimers();
  });
}

void HostStateProvider::setAudience(Audience audience) {
  queue_.async([self = shared_from_this(), audience] {
    self->queue_.assertCurrent();
    self->audience_ = audience;
    self->updateTimers();
  });
}

void HostStateProvider::updateTimers() {
  if (!isStarted_ || audience_ == Audience::absent) {
    stateTimer_.cancel();
    metricsTimer_.cancel();
    return;
  }
  if (stateTimer_.isPending()) return;
  stateTimer_ = queue_.every(stateInterval, stateInterval, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->broadcastStateSoon();
  });
  metricsTimer_ = queue_.every(metricsInterval, metricsInterval, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->broadcastMetrics_) self->broadcastMetrics_(self->sampler_.sample());
  });
}

void HostStateProvider::broadcastStateSoon() {
  if (!broadcastState_) return;
  buildState([weak = weak_from_this()](HostState state) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->stateTimer_.isPending()) self->broadcastNow(std::move(state));
  });
}

void HostStateProvider::broadcastNow(HostState state) {
  const SystemMetrics metrics = std::exchange(state.metrics, {});
  if (contentNumber_ == 0 || state != broadcastContent_) {
    broadcastContent_ = state;
    ++contentNumber_;
  }
  state.metrics = metrics;
  broadcastState_(std::move(state), contentNumber_);
}

// The state

void HostStateProvider::buildState(Completion completion) {
  queue_.async([self = shared_from_this(), completion = std::move(completion)]() mutable {
    self->queue_.assertCurrent();
    self->waiting_.push_back(std::move(completion));
    if (self->waiting_.size() > 1) return;
    // Runs after the calls that are queued already.
    self->queue_.async([self] {
      self->queue_.assertCurrent();
      self->beginRequest();
    });
  });
}

void HostStateProvider::beginRequest() {
  const auto request = std::make_shared<Request>();
  request->completions = std::exchange(waiting_, {});
  request->limit = queue_.after(enumerationLimit, [weak = weak_from_this(), request] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!request->isAnswered()) request->answer(self->stateWithoutContent());
  });
  screen_->shareableContent(
      [queue = queue_, weak = weak_from_this(), request](std::expected<ShareableContent, PortError> content) {
        queue.async([weak, request, content = std::move(content)]() mutable {
          const auto self = weak.lock();
          if (!self) return;
          self->queue_.assertCurrent();
          self->receive(request, std::move(content));
        });
      });
}

void HostStateProvider::receive(const std::shared_ptr<Request>& request,
                                std::expected<ShareableContent, PortError> content) {
  if (!content) Log::app.error(fmt::format("shareable content failed: {}", content.error().description));
  if (request->isAnswered()) return;
  if (!content)
    request->answer(stateWithoutContent());
  else if (applications_)
    findRegularApplications(request, std::move(*content));
  else
    request->answer(stateFrom(*content, std::nullopt));
}

// Waits for the window server, so that it runs apart from the queue, which keeps the time limit.
void HostStateProvider::findRegularApplications(const std::shared_ptr<Request>& request,
                                                ShareableContent content) {
  Scheduler& scheduler = queue_.scheduler();
  scheduler.execute([&scheduler, weak = weak_from_this(), queue = queue_, applications = applications_,
                     request, content = std::move(content)]() mutable {
    std::set<std::int32_t> regular;
    scheduler.blocking([&] { regular = applications->regularApplications(); });
    queue.async([weak, request, content = std::move(content), regular = std::move(regular)] {
      const auto self = weak.lock();
      if (!self) return;
      self->queue_.assertCurrent();
      if (!request->isAnswered()) request->answer(self->stateFrom(content, regular));
    });
  });
}

HostState HostStateProvider::stateFrom(const ShareableContent& content, const Processes& regular) {
  HostState state;
  state.metrics = sampler_.sample();
  state.displays = displayInfos(content.displays, displays_.get());
  state.windows = listedWindows(content, regular);
  state.apps = appsWithWindows(content, state.windows);
  for (RunningAppInfo& app : state.apps) app.iconPNG = icons_->icon(app.bundleID, app.pid);
  return state;
}

HostState HostStateProvider::stateWithoutContent() {
  HostState state;
  state.displays = displayInfos({}, displays_.get());
  state.metrics = sampler_.sample();
  return state;
}

}  // namespace quorl
