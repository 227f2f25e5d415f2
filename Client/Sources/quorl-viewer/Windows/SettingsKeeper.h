// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include <QTimer>

#include <quorl-viewer/Settings/SettingsStore.h>

namespace quorl::viewer {

/// The settings of one window: loaded at its start, saved half a second after a change and at its end.
///
/// *Queue*: the GUI thread. *Blocking*: on the disk, for a file of a kilobyte. *Ownership*: the window's.
class SettingsKeeper {
 public:
  using Change = std::function<void(HostSettings&)>;

  /// An empty folder: nothing is loaded or saved. `failed`: the settings could not be saved.
  SettingsKeeper(const std::filesystem::path& folder, const UUID& host,
                 std::function<void(const client::ClientError&)> failed);
  ~SettingsKeeper();

  const HostSettings& settings() const { return settings_; }
  /// For this window and for the next one.
  void change(const Change& change);
  /// For this window only, such as a wish of the command line.
  void changeForNow(const Change& change) { change(settings_); }

 private:
  void save();

  const std::optional<SettingsStore> store_;
  const UUID host_;
  const std::function<void(const client::ClientError&)> failed_;
  HostSettings settings_;
  HostSettings remembered_;
  HostSettings saved_;
  QTimer timer_;
};

}  // namespace quorl::viewer
