// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/NetworkStatusProvider.h>

#include <utility>

namespace quorl {

NetworkStatusProvider::NetworkStatusProvider(const Platform& platform, HostPorts ports)
    : queue_(*platform.scheduler, "quorl.network", QueueRank::service),
      interfaces_(platform.interfaces),
      detector_(platform, ports) {}

void NetworkStatusProvider::setOnChange(OnChange onChange) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onChange_ = std::move(onChange);
  });
}

void NetworkStatusProvider::start() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->isStarted_ = true;
    self->watchInterfaces();
    self->recompute(Reason::time);
    self->timer_ = self->queue_.every(interval, interval, [weak = self->weak_from_this()] {
      const auto provider = weak.lock();
      if (!provider) return;
      provider->queue_.assertCurrent();
      provider->recompute(Reason::time);
    });
  });
}

// Waits, so that no notification arrives while the platform ends.
void NetworkStatusProvider::stop() {
  queue_.sync([this] {
    queue_.assertCurrent();
    isStarted_ = false;
    timer_.cancel();
    changeTimer_.cancel();
    if (interfaces_) interfaces_->setChangeHandler({});
  });
}

std::optional<NetworkStatus> NetworkStatusProvider::current() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return cached_;
  });
}

void NetworkStatusProvider::snapshot(Completion completion) {
  queue_.async([self = shared_from_this(), completion = std::move(completion)]() mutable {
    self->queue_.assertCurrent();
    if (self->cached_) return completion(*self->cached_);
    self->waiting_.push_back(std::move(completion));
    self->recompute(Reason::time);
  });
}

// Changes of the interfaces

void NetworkStatusProvider::watchInterfaces() {
  if (!interfaces_) return;
  interfaces_->setChangeHandler([weak = weak_from_this(), queue = queue_] {
    queue.async([weak] {
      const auto self = weak.lock();
      if (!self) return;
      self->queue_.assertCurrent();
      self->interfacesChanged();
    });
  });
}

void NetworkStatusProvider::interfacesChanged() {
  if (!isStarted_ || changeTimer_.isPending()) return;
  changeTimer_ = queue_.after(changeDelay, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->recompute(Reason::interfaces);
  });
}

// The computation

// A notification without a change of the addresses runs no tool: containers that start and end cause many.
void NetworkStatusProvider::recompute(Reason reason) {
  if (isComputing_) {
    changedMeanwhile_ = changedMeanwhile_ || reason == Reason::interfaces;
    return;
  }
  isComputing_ = true;
  std::optional<Addresses> known;
  if (reason == Reason::interfaces) known = addresses_;
  Scheduler& scheduler = queue_.scheduler();
  scheduler.execute(
      [&scheduler, queue = queue_, weak = weak_from_this(), detector = detector_, known = std::move(known)] {
        Addresses addresses;
        std::optional<NetworkStatus> status;
        scheduler.blocking([&] {
          addresses = detector.addresses();
          if (known != addresses) status = detector.detect(addresses);
        });
        queue.async([weak, addresses = std::move(addresses), status = std::move(status)]() mutable {
          const auto self = weak.lock();
          if (!self) return;
          self->queue_.assertCurrent();
          self->finish(std::move(addresses), std::move(status));
        });
      });
}

void NetworkStatusProvider::finish(Addresses addresses, std::optional<NetworkStatus> status) {
  isComputing_ = false;
  addresses_ = std::move(addresses);
  if (status) store(std::move(*status));
  if (std::exchange(changedMeanwhile_, false) && isStarted_) recompute(Reason::interfaces);
}

void NetworkStatusProvider::store(NetworkStatus status) {
  const bool isNew = cached_ != status;
  cached_ = std::move(status);
  for (const Completion& completion : std::exchange(waiting_, {})) completion(*cached_);
  if (isNew && isStarted_ && onChange_) onChange_(*cached_);
}

}  // namespace quorl
