// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Menu/Model/HostMenuState.h>
#include <QuorlHostCore/Menu/Model/SetupState.h>
#include <QuorlHostCore/Ports/LoginItem.h>
#include <QuorlHostCore/Ports/MachineFacts.h>
#include <QuorlHostCore/Ports/Permissions.h>

namespace quorl {

class ConnectionServer;
class PairingState;
class TrustStore;

/// The parts of the host that its windows show and change.
struct MenuSources {
  std::uint16_t port = 0;
  std::shared_ptr<ConnectionServer> server;
  std::shared_ptr<TrustStore> trustStore;
  std::shared_ptr<PairingState> pairing;
  std::shared_ptr<Permissions> permissions;
  std::shared_ptr<MachineFacts> machine;
  std::shared_ptr<LoginItem> loginItem;                   // absent on a platform without one
  std::function<std::optional<NetworkStatus>()> network;  // may block; absent: never a status
};

struct MenuFacts {
  HostMenuState menu;
  GrantedPermissions permissions;
  std::optional<NetworkStatus> network;
  std::string computerName;
};

/// Reads the facts. Each source may block (a bus, a disk, a tool that hangs), so that each is read apart from
/// the others; a slow one keeps its last value meanwhile.
///
/// *Queue*: the owner's, given at construction. Sources are read on pool threads as blocking work.
/// *Blocking*: none.
/// *Ownership*: the service's; a reading that is under way holds the sources, not the reader.
class MenuReader : public std::enable_shared_from_this<MenuReader> {
 public:
  /// `arrived` is called on the queue after each source.
  MenuReader(SerialQueue queue, MenuSources sources, std::function<void()> arrived);

  /// Reads every source once more. A source that is being read is read again afterwards.
  void refresh();
  bool isReading() const { return reading_ > 0; }
  /// Whether the facts without which the windows would show something false have been read once.
  bool isUsable() const {
    return isKnown(Group::store) && isKnown(Group::port) && isKnown(Group::permissions);
  }
  const MenuFacts& facts() const { return facts_; }

 private:
  enum class Group : std::uint8_t { store, loginItem, port, console, permissions, network, clients };
  static constexpr std::size_t groups = 7;
  enum class State : std::uint8_t { idle, reading, readAgain };
  using Update = std::function<void(MenuFacts&)>;

  bool isKnown(Group group) const { return known_[static_cast<std::size_t>(group)]; }
  void begin(Group group);
  void keep(Group group, const Update& update);
  static Update read(Group group, const MenuSources& sources);

  const SerialQueue queue_;
  const std::shared_ptr<const MenuSources> sources_;
  const std::function<void()> arrived_;
  std::array<State, groups> states_{};
  std::array<bool, groups> known_{};
  std::size_t reading_ = 0;
  MenuFacts facts_;
};

}  // namespace quorl
