// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/Record.h>

namespace quorl {

// Everything that the popover and the setup window show, as finished texts. The program that shows them
// decides nothing but the layout.

enum class MenuColor : std::uint8_t { green, orange, red, grey };
BOOST_DESCRIBE_ENUM(MenuColor, green, orange, red, grey)

enum class MenuPermission : std::uint8_t { screenRecording, accessibility };
BOOST_DESCRIBE_ENUM(MenuPermission, screenRecording, accessibility)

/// A permission that is missing, in the popover.
struct PermissionRow {
  MenuPermission permission = MenuPermission::screenRecording;
  std::string title;
  std::string detail;
  std::string obstacle;    // what is missing here; empty if unknown
  bool canRequest = true;  // a prompt of the platform can grant it

  bool operator==(const PermissionRow&) const = default;
};
BOOST_DESCRIBE_STRUCT(PermissionRow, (), (permission, title, detail, obstacle, canRequest))

struct MenuClientRow {
  std::string name;
  std::string detail;

  bool operator==(const MenuClientRow&) const = default;
};
BOOST_DESCRIBE_STRUCT(MenuClientRow, (), (name, detail))

struct PopoverSnapshot {
  std::string title;
  std::string statusLine;
  MenuColor statusColor = MenuColor::red;
  std::string reachability;
  bool overlayOnline = false;  // shows the reachability in green
  std::vector<PermissionRow> missingPermissions;
  std::string permissionNote;
  std::string pin;
  std::vector<MenuClientRow> clients;
  std::string pairedDevices;
  bool canRevoke = false;
  std::string consoleSession;
  bool magnifyAsCommandScroll = false;
  bool startAtLogin = false;
  bool canStartAtLogin = true;

  bool operator==(const PopoverSnapshot&) const = default;
};
BOOST_DESCRIBE_STRUCT(PopoverSnapshot, (),
                      (title, statusLine, statusColor, reachability, overlayOnline, missingPermissions,
                       permissionNote, pin, clients, pairedDevices, canRevoke, consoleSession,
                       magnifyAsCommandScroll, startAtLogin, canStartAtLogin))

/// A row of the setup window's permissions.
struct PermissionState {
  MenuPermission permission = MenuPermission::screenRecording;
  std::string title;
  std::string status;
  bool isGranted = false;
  std::string obstacle;
  bool canRequest = true;

  bool operator==(const PermissionState&) const = default;
};
BOOST_DESCRIBE_STRUCT(PermissionState, (), (permission, title, status, isGranted, obstacle, canRequest))

/// The button of the overlay card.
struct OverlayAction {
  std::string title;
  std::string url;

  bool operator==(const OverlayAction&) const = default;
};
BOOST_DESCRIBE_STRUCT(OverlayAction, (), (title, url))

struct SetupSnapshot {
  MenuColor overlayColor = MenuColor::grey;
  std::string overlayStatus;
  std::optional<std::string> overlayGuidance;
  std::optional<OverlayAction> overlayAction;  // absent: the button is hidden
  std::string address;
  std::string overlayAddresses;
  std::string lanAddresses;
  std::string ports;
  std::string joinPayload;
  std::string pin;
  std::vector<PermissionState> permissions;
  std::string permissionLimitation;  // empty if there is none
  std::string clients;               // one line each
  bool hasClients = false;           // else the text is secondary

  bool operator==(const SetupSnapshot&) const = default;
};
BOOST_DESCRIBE_STRUCT(SetupSnapshot, (),
                      (overlayColor, overlayStatus, overlayGuidance, overlayAction, address, overlayAddresses,
                       lanAddresses, ports, joinPayload, pin, permissions, permissionLimitation, clients,
                       hasClients))

/// The content of the windows that are open; the others are absent.
struct MenuSnapshot {
  std::optional<PopoverSnapshot> popover;
  std::optional<SetupSnapshot> setup;

  bool operator==(const MenuSnapshot&) const = default;
};
BOOST_DESCRIBE_STRUCT(MenuSnapshot, (), (popover, setup))

}  // namespace quorl
