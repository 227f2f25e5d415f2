// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ServiceScanner.h>

#include <algorithm>
#include <string>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

std::string namesOf(const ServiceScanner::Services& services) {
  std::string names;
  for (const ServiceDescriptor& service : services)
    names += fmt::format("{}{}:{}", names.empty() ? "" : ", ", service.processName, service.port);
  return names;
}

}  // namespace

ServiceScanner::ServiceScanner(Scheduler& scheduler, std::shared_ptr<ListeningSockets> sockets,
                               std::shared_ptr<Network> network, Ports ports)
    : queue_(scheduler, "quorl.services", QueueRank::service),
      sockets_(std::move(sockets)),
      network_(std::move(network)),
      ports_(std::move(ports)) {}

void ServiceScanner::setOnChange(OnChange onChange) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onChange_ = std::move(onChange);
  });
}

void ServiceScanner::start() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->timer_ = self->queue_.every(firstScan, interval, [weak = self->weak_from_this()] {
      const auto scanner = weak.lock();
      if (!scanner) return;
      scanner->queue_.assertCurrent();
      scanner->scan();
    });
  });
}

void ServiceScanner::stop() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->timer_.cancel();
    self->scanning_ = false;
    self->waiting_.clear();
    self->probes_.clear();
    self->found_.clear();
  });
}

ServiceScanner::Services ServiceScanner::services() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return current_;
  });
}

// The scan

void ServiceScanner::scan() {
  if (scanning_) return;
  scanning_ = true;
  Scheduler& scheduler = queue_.scheduler();
  scheduler.execute([&scheduler, queue = queue_, sockets = sockets_, weak = weak_from_this()] {
    Sockets listed;
    scheduler.blocking([&] { listed = sockets->list(); });
    queue.async([weak, listed = std::move(listed)]() mutable {
      const auto self = weak.lock();
      if (!self) return;
      self->queue_.assertCurrent();
      if (self->scanning_) self->probeAll(std::move(listed));
    });
  });
}

void ServiceScanner::probeAll(Sockets sockets) {
  if (!sockets) Log::app.error(sockets.error().description);
  waiting_ = foreignListeners(sockets);
  settled_.begin(waiting_);
  std::erase_if(waiting_, [this](const Listener& listener) {
    queue_.assertCurrent();
    return settled_.contains(listener);
  });
  std::ranges::reverse(waiting_);
  probeNext();
}

std::vector<Listener> ServiceScanner::foreignListeners(const Sockets& sockets) const {
  if (!sockets) return {};
  std::vector<Listener> listeners = listenersByPort(*sockets);
  std::erase_if(listeners, [this](const Listener& listener) {
    return ports_.own.contains(listener.port) || (ports_.only && !ports_.only->contains(listener.port));
  });
  return listeners;
}

void ServiceScanner::probeNext() {
  while (!waiting_.empty() && probes_.size() < maxProbes) {
    const Listener listener = std::move(waiting_.back());
    waiting_.pop_back();
    probe(listener);
  }
  if (waiting_.empty() && probes_.empty()) finishScan();
}

void ServiceScanner::probe(const Listener& listener) {
  const auto probe = std::make_shared<ServiceProbe>(queue_, network_, listener.port);
  probes_[listener.port] = probe;
  probe->start([weak = weak_from_this(), listener](const ProbeResult& result) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->probed(listener, result);
  });
}

void ServiceScanner::probed(const Listener& listener, const ProbeResult& result) {
  if (probes_.erase(listener.port) == 0) return;
  settled_.record(listener, result.answer);
  if (result.answer == ProbeResult::Answer::http)
    found_.push_back({.port = listener.port,
                      .processName = listener.processName,
                      .pid = listener.pid,
                      .title = result.title,
                      .loopbackOnly = listener.loopbackOnly});
  probeNext();
}

void ServiceScanner::finishScan() {
  scanning_ = false;
  Services services = std::exchange(found_, {});
  std::ranges::sort(services, {}, &ServiceDescriptor::port);
  if (services == current_) return;
  current_ = std::move(services);
  Log::app.info(fmt::format("services changed: {}", namesOf(current_)));
  if (onChange_) onChange_(current_);
}

}  // namespace quorl
