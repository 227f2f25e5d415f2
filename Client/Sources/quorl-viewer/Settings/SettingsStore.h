// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <utility>

#include <QuorlKit/Foundation/UUID.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-viewer/Settings/HostSettings.h>

namespace quorl::viewer {

/// The settings on disk: a file HOST.json a host, 0600, in a folder of 0700. HOST is the host's device
/// identifier, so that a host with another address keeps its settings.
///
/// *Queue*: any; of two writers of one file one wins, whole. *Blocking*: on the disk. *Ownership*: a value.
class SettingsStore {
 public:
  /// `folder`: of the client's configuration (`HostBook::defaultFolder`); the settings are in "viewer" there.
  explicit SettingsStore(const std::filesystem::path& folder) : folder_(folder / "viewer") {}

  /// Without a file: the defaults. A damaged file is moved aside to HOST.json.damaged, and the defaults hold.
  HostSettings load(const UUID& host) const;
  client::Outcome<void> save(const UUID& host, const HostSettings& settings) const;

  std::filesystem::path path(const UUID& host) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace quorl::viewer
