// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Service/MenuCommands.h>

#include <utility>

#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>

namespace quorl {

namespace {

void endSessions(const MenuSources& sources, const char* reason) {
  sources.server->broadcastControl(message::SessionClosed{reason});
}

void toggleStartAtLogin(const MenuSources& sources) {
  if (!sources.loginItem) return;
  if (sources.loginItem->installed())
    sources.loginItem->uninstall();
  else
    sources.loginItem->install();
}

void request(const MenuSources& sources, MenuPermission permission) {
  switch (permission) {
    case MenuPermission::screenRecording:
      sources.permissions->requestScreenCapture();
      break;
    case MenuPermission::accessibility:
      sources.permissions->requestInput();
      break;
  }
}

void carryOut(const MenuSources& sources, const MenuAction& action) {
  if (std::holds_alternative<menuAction::RegeneratePIN>(action)) {
    sources.pairing->regenerate();
  } else if (std::holds_alternative<menuAction::DisconnectAll>(action)) {
    endSessions(sources, "Disconnected from the Mac.");
  } else if (std::holds_alternative<menuAction::RevokeAll>(action)) {
    endSessions(sources, "Pairings were revoked on the Mac.");
    sources.trustStore->revokeAll();
  } else if (std::holds_alternative<menuAction::ToggleMagnify>(action)) {
    sources.trustStore->updateSettings(
        [](HostSettings& settings) { settings.magnifyAsCommandScroll = !settings.magnifyAsCommandScroll; });
  } else if (std::holds_alternative<menuAction::ToggleStartAtLogin>(action)) {
    toggleStartAtLogin(sources);
  } else if (const auto* wanted = std::get_if<menuAction::RequestPermission>(&action)) {
    request(sources, wanted->_0);
  }
}

}  // namespace

MenuCommands::MenuCommands(Scheduler& scheduler, MenuSources sources)
    : queue_(scheduler, "quorl.menu.commands", QueueRank::service),
      sources_(std::make_shared<const MenuSources>(std::move(sources))) {}

void MenuCommands::run(const MenuAction& action, std::function<void()> done) const {
  queue_.async([queue = queue_, sources = sources_, action, done = std::move(done)] {
    queue.scheduler().blocking([&] { carryOut(*sources, action); });
    done();
  });
}

void MenuCommands::storeIdentity() const {
  queue_.async([queue = queue_, sources = sources_] {
    queue.scheduler().blocking([&] { sources->trustStore->hostDeviceID(); });
  });
}

}  // namespace quorl
