// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Service/MenuService.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>

namespace quorl {

std::shared_ptr<MenuService> MenuService::make(Scheduler& scheduler, MenuSources sources, Outlets outlets) {
  const std::shared_ptr<MenuService> service(new MenuService(scheduler, std::move(outlets), sources));
  service->observe(sources);
  service->reader_ = std::make_shared<MenuReader>(service->queue_, std::move(sources),
                                                  [weak = std::weak_ptr(service)]() QUORL_NO_ANALYSIS {
                                                    if (const auto self = weak.lock()) self->factsArrived();
                                                  });
  return service;
}

MenuService::MenuService(Scheduler& scheduler, Outlets outlets, const MenuSources& sources)
    : queue_(scheduler, "quorl.menu", QueueRank::service),
      outlets_(std::move(outlets)),
      port_(sources.port),
      canStartAtLogin_(sources.loginItem != nullptr),
      opensSetupOnce_(outlets_.firstStart == FirstStart::opensSetup &&
                      !sources.trustStore->settings().hostDeviceID),
      commands_(scheduler, sources) {}

void MenuService::observe(const MenuSources& sources) {
  const auto changed = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->refreshOpenWindows();
  };
  sources.server->onClientsChanged(changed);
  sources.pairing->onPINChanged([changed](const std::string&) { changed(); });
  sources.trustStore->onTrustChanged(changed);
}

void MenuService::start() {
  const auto act = [weak = weak_from_this()](auto&& work) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!self->isStopped_) work(*self);
  };
  MenuSurface::Handlers handlers;
  handlers.received = [act](const std::string& line) {
    act([&](MenuService& self) QUORL_NO_ANALYSIS { self.received(line); });
  };
  handlers.ended = [act](const std::string& reason) {
    act([&](MenuService& self) QUORL_NO_ANALYSIS { self.programEnded(reason); });
  };
  handlers.displayAppeared = [act] {
    act([](MenuService& self) QUORL_NO_ANALYSIS { self.displayAppeared(); });
  };
  outlets_.surface->open(queue_, std::move(handlers));
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->tryToStart();
  });
}

void MenuService::stop() {
  queue_.sync([this] {
    queue_.assertCurrent();
    isStopped_ = true;
    startTimer_.cancel();
    patienceTimer_.cancel();
    panel_.close();
    setup_.close();
  });
  outlets_.surface->close();
}

void MenuService::showPanel() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    if (self->isReady_) {
      self->send(menuMessage::ShowPanel{});
      return;
    }
    self->showsPanelWhenReady_ = true;
    self->displayAppeared();  // a person at the desktop asks, so that another attempt is worth it
  });
}

// The program

void MenuService::tryToStart() {
  if (isRunning_ || isStopped_) return;
  if (!outlets_.surface->isDisplayReachable()) {
    tryLater(pace_.unreachable());
    return;
  }
  isRunning_ = true;
  pace_.started(queue_.now());
  outlets_.surface->startProgram();
}

void MenuService::tryLater(std::optional<Duration> delay) {
  if (!delay) return;
  startTimer_ = queue_.after(*delay, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->tryToStart();
  });
}

void MenuService::programEnded(const std::string& reason) {
  Log::app.v(fmt::format("the menu program ended: {}", reason));
  isRunning_ = isReady_ = false;
  panel_.close();
  setup_.close();
  patienceTimer_.cancel();
  const auto delay = pace_.ended(queue_.now());
  if (pace_.hasGivenUp())
    Log::app.error(fmt::format("the menu program does not run ({}); the host continues without it", reason));
  tryLater(delay);
}

void MenuService::displayAppeared() {
  pace_.displayAppeared();
  if (!isRunning_) tryToStart();
}

void MenuService::ready() {
  isReady_ = true;
  if (std::exchange(showsPanelWhenReady_, false)) {
    send(menuMessage::ShowPanel{});
    return;
  }
  if (!opensSetupOnce_ || std::exchange(hasOpenedSetup_, true)) return;
  commands_.storeIdentity();
  send(menuMessage::ShowSetup{});
}

// Actions of the program

void MenuService::received(const std::string& line) {
  if (const auto action = parseMenuAction(line))
    handle(*action);
  else
    Log::app.error("the menu program sent an invalid line");
}

void MenuService::handle(const MenuAction& action) {
  if (std::holds_alternative<menuAction::Ready>(action)) {
    ready();
  } else if (std::holds_alternative<menuAction::TrayMissing>(action)) {
    reportMissingTray();
  } else if (std::holds_alternative<menuAction::PanelOpened>(action)) {
    openWindow(panel_, panelInterval);
  } else if (std::holds_alternative<menuAction::PanelClosed>(action)) {
    panel_.close();
  } else if (std::holds_alternative<menuAction::SetupRequested>(action)) {
    Log::app.event("setup window requested");
    openWindow(setup_, setupInterval);
  } else if (const auto* shown = std::get_if<menuAction::SetupShown>(&action)) {
    Log::app.event(fmt::format("setup window shown (visible={})", shown->visible));
  } else if (std::holds_alternative<menuAction::SetupClosed>(action)) {
    setup_.close();
  } else if (std::holds_alternative<menuAction::Quit>(action)) {
    outlets_.quit();
  } else {
    commands_.run(action, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->refreshOpenWindows();
    });
  }
}

void MenuService::reportMissingTray() {
  if (std::exchange(hasReportedTray_, true)) return;
  Log::app.info("the desktop shows no tray icon; start the host again to open its panel");
  if (outlets_.notifier)
    outlets_.notifier->notify(
        "Quorl Host is running",
        "This desktop has no tray for its icon. Start Quorl Host again to open its panel.");
}

// What the windows show

template <class Content>
void MenuService::openWindow(Window<Content>& window, Duration interval) {
  window.isOpen = true;
  window.sent.reset();
  window.timer = queue_.every(interval, interval, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->refresh();
  });
  refresh();
}

void MenuService::refreshOpenWindows() {
  queue_.async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->panel_.isOpen || self->setup_.isOpen) self->refresh();
  });
}

void MenuService::refresh() {
  reader_->refresh();
  if (patienceTimer_.isPending()) return;
  patienceTimer_ = queue_.after(patience, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->push();
  });
}

void MenuService::factsArrived() {
  if (reader_->isReading() && patienceTimer_.isPending()) return;
  patienceTimer_.cancel();
  push();
}

// Once the facts are usable, `factsArrived` is called and pushes.
void MenuService::push() {
  if (!reader_->isUsable()) return;
  const MenuFacts& facts = reader_->facts();
  const Date now = queue_.scheduler().date();
  MenuSnapshot snapshot;
  if (panel_.isOpen) {
    PopoverSnapshot content = popoverFrom(facts.menu, {.computerName = facts.computerName,
                                                       .port = port_,
                                                       .permissions = facts.permissions,
                                                       .canStartAtLogin = canStartAtLogin_,
                                                       .now = now});
    if (panel_.sent != content) snapshot.popover = panel_.sent = std::move(content);
  }
  if (setup_.isOpen) {
    SetupSnapshot content = setupFrom({.network = facts.network,
                                       .computerName = facts.computerName,
                                       .pin = facts.menu.pin,
                                       .permissions = facts.permissions,
                                       .clients = facts.menu.clients},
                                      now);
    if (setup_.sent != content) snapshot.setup = setup_.sent = std::move(content);
  }
  if (snapshot.popover || snapshot.setup) send(menuMessage::Snapshot{std::move(snapshot)});
}

void MenuService::send(const MenuMessage& message) {
  outlets_.surface->send(menuLine(message));
}

}  // namespace quorl
