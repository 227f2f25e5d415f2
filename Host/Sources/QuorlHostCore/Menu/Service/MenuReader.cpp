// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Service/MenuReader.h>

#include <utility>

#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>

namespace quorl {

namespace {

using Update = std::function<void(MenuFacts&)>;

Update readStore(const MenuSources& sources) {
  return [paired = sources.trustStore->trustedDevices().size(), pin = sources.pairing->pin(),
          magnify = sources.trustStore->settings().magnifyAsCommandScroll,
          name = sources.machine->computerName()](MenuFacts& facts) {
    facts.menu.pairedCount = paired;
    facts.menu.pin = pin;
    facts.menu.magnifyAsCommandScroll = magnify;
    facts.computerName = name;
  };
}

Update readLoginItem(const MenuSources& sources) {
  return [installed = sources.loginItem && sources.loginItem->installed()](MenuFacts& facts) {
    facts.menu.startAtLogin = installed;
  };
}

Update readPort(const MenuSources& sources) {
  return [owns = sources.server->ownsPublicPort()](MenuFacts& facts) { facts.menu.ownsPort = owns; };
}

Update readConsole(const MenuSources& sources) {
  return [user = sources.server->currentConsoleUser().value_or("login window")](MenuFacts& facts) {
    facts.menu.consoleUser = user;
  };
}

Update readPermissions(const MenuSources& sources) {
  Permissions& permissions = *sources.permissions;
  return [granted = GrantedPermissions{.screen = permissions.mayCaptureScreen(),
                                       .input = permissions.mayPostInput(),
                                       .screenObstacle = permissions.screenCaptureObstacle(),
                                       .inputObstacle = permissions.inputObstacle(),
                                       .limitation = permissions.limitation(),
                                       .canRequest = permissions.hasPrompt()}](MenuFacts& facts) {
    facts.menu.screenGranted = granted.screen;
    facts.menu.axGranted = granted.input;
    facts.permissions = granted;
  };
}

Update readNetwork(const MenuSources& sources) {
  return [status = sources.network ? sources.network() : std::nullopt](MenuFacts& facts) {
    facts.network = status;
    facts.menu.overlayOnline = isOverlayOnline(status);
    facts.menu.reachability = reachabilityText(status);
  };
}

}  // namespace

MenuReader::MenuReader(SerialQueue queue, MenuSources sources, std::function<void()> arrived)
    : queue_(std::move(queue)),
      sources_(std::make_shared<const MenuSources>(std::move(sources))),
      arrived_(std::move(arrived)) {}

void MenuReader::refresh() {
  for (std::size_t group = 0; group < groups; ++group) begin(static_cast<Group>(group));
}

void MenuReader::begin(Group group) {
  State& state = states_[static_cast<std::size_t>(group)];
  if (state != State::idle) {
    state = State::readAgain;
    return;
  }
  state = State::reading;
  ++reading_;
  const auto deliver = [weak = weak_from_this(), queue = queue_, group](Update update) {
    queue.async([weak, group, update = std::move(update)] {
      if (const auto self = weak.lock()) self->keep(group, update);
    });
  };
  if (group == Group::clients) {
    sources_->server->clientSummaries([deliver](std::vector<ClientSummary> clients) {
      deliver([clients = std::move(clients)](MenuFacts& facts) { facts.menu.clients = clients; });
    });
    return;
  }
  Scheduler& scheduler = queue_.scheduler();
  scheduler.execute([&scheduler, sources = sources_, group, deliver] {
    Update update;
    scheduler.blocking([&] { update = read(group, *sources); });
    deliver(std::move(update));
  });
}

MenuReader::Update MenuReader::read(Group group, const MenuSources& sources) {
  switch (group) {
    case Group::store:
      return readStore(sources);
    case Group::loginItem:
      return readLoginItem(sources);
    case Group::port:
      return readPort(sources);
    case Group::console:
      return readConsole(sources);
    case Group::permissions:
      return readPermissions(sources);
    case Group::network:
      return readNetwork(sources);
    case Group::clients:
      break;  // the server delivers them
  }
  return [](MenuFacts&) {};
}

void MenuReader::keep(Group group, const Update& update) {
  queue_.assertCurrent();
  update(facts_);
  known_[static_cast<std::size_t>(group)] = true;
  State& state = states_[static_cast<std::size_t>(group)];
  --reading_;
  if (std::exchange(state, State::idle) == State::readAgain) begin(group);
  arrived_();
}

}  // namespace quorl
