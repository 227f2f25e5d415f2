// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <QuorlHostCore/Menu/Model/MenuSnapshot.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/TaggedUnion.h>

namespace quorl {

// The host and the program that shows its windows exchange one JSON text per line.

/// To the program.
namespace menuMessage {
using Snapshot = UnlabelledCase<"snapshot", MenuSnapshot>;
using ShowPanel = PlainCase<"showPanel">;
using ShowSetup = PlainCase<"showSetup">;
}  // namespace menuMessage

using MenuMessage = std::variant<menuMessage::Snapshot, menuMessage::ShowPanel, menuMessage::ShowSetup>;

/// From the program.
namespace menuAction {
/// The program runs and can show windows.
using Ready = PlainCase<"ready">;
/// The session shows no tray icon.
using TrayMissing = PlainCase<"trayMissing">;
using PanelOpened = PlainCase<"panelOpened">;
using PanelClosed = PlainCase<"panelClosed">;
using SetupRequested = PlainCase<"setupRequested">;
struct SetupShown {
  static constexpr std::string_view key = "setupShown";
  bool visible = false;

  bool operator==(const SetupShown&) const = default;
};
BOOST_DESCRIBE_STRUCT(SetupShown, (), (visible))
using SetupClosed = PlainCase<"setupClosed">;
using RegeneratePIN = PlainCase<"regeneratePIN">;
using DisconnectAll = PlainCase<"disconnectAll">;
using RevokeAll = PlainCase<"revokeAll">;
using ToggleMagnify = PlainCase<"toggleMagnify">;
using ToggleStartAtLogin = PlainCase<"toggleStartAtLogin">;
using RequestPermission = UnlabelledCase<"requestPermission", MenuPermission>;
using Quit = PlainCase<"quit">;
}  // namespace menuAction

using MenuAction =
    std::variant<menuAction::Ready, menuAction::TrayMissing, menuAction::PanelOpened, menuAction::PanelClosed,
                 menuAction::SetupRequested, menuAction::SetupShown, menuAction::SetupClosed,
                 menuAction::RegeneratePIN, menuAction::DisconnectAll, menuAction::RevokeAll,
                 menuAction::ToggleMagnify, menuAction::ToggleStartAtLogin, menuAction::RequestPermission,
                 menuAction::Quit>;

/// One line, with its line feed. JSON escapes the line feeds of its texts.
std::string menuLine(const MenuMessage& message);
std::string menuLine(const MenuAction& action);
/// Of a line without its line feed. Absent if it is not exactly such a text.
std::optional<MenuMessage> parseMenuMessage(std::string_view line);
std::optional<MenuAction> parseMenuAction(std::string_view line);

}  // namespace quorl
