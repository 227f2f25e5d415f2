// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/HostSettings.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// One paired client, as `trust.json` lists it.
struct TrustedDevice {
  UUID deviceID;  // chosen by the client
  std::string name;
  std::string tokenBase64;
  Date addedAt;

  bool operator==(const TrustedDevice&) const = default;
};
BOOST_DESCRIBE_STRUCT(TrustedDevice, (), (deviceID, name, tokenBase64, addedAt))

/// The paired clients and the host's settings, in memory and in `trust.json` and `settings.json`.
///
/// A file that cannot be read counts as missing and is not touched until the next write. A failed write is
/// logged; memory and disk then differ until a write succeeds. Records that would make a file too large to be
/// read again are kept in memory only.
///
/// *Queue*: "quorl.truststore"; every operation may be called from any thread.
/// *Blocking*: every operation waits for the queue, and changes also for the disk.
/// *Ownership*: shared by the runtime and its connections.
/// *Lifetime*: the runtime's.
class TrustStore {
 public:
  static constexpr std::size_t maxRememberedConfigs = 10;

  /// `directory`: used unchanged if given, else the host's folder in the platform's. Loads the files.
  TrustStore(const Platform& platform, const std::optional<std::string>& directory);

  const std::string& directory() const { return directory_; }
  std::vector<TrustedDevice> trustedDevices() const;

  /// Whether `proof` over `nonce` was made with any device's token. Each comparison takes constant time;
  /// their number varies.
  bool matchesAnyToken(ByteView proof, ByteView nonce) const;

  /// Adds a device in place of an entry with the same identity, and returns its new token. An overlong name
  /// is truncated.
  Bytes addDevice(UUID deviceID, const std::string& name);
  void revokeAll();

  HostSettings settings() const;
  void setSettings(HostSettings settings);
  void updateSettings(const std::function<void(HostSettings&)>& mutator);
  /// Moves or adds `config` to the front of the recent ones.
  void rememberSpawnConfig(const AgentSpawnConfig& config);
  /// This host's identity, created and stored by the first call.
  UUID hostDeviceID();

  /// Called after every change of the devices, on the thread that caused it and not on the queue.
  void onTrustChanged(std::function<void()> handler);

 private:
  void load() QUORL_REQUIRES(queue_);
  void persistDevices() QUORL_REQUIRES(queue_);
  void persistSettings() QUORL_REQUIRES(queue_);
  template <class Record, class Encode>
  void persist(const std::string& path, const std::vector<Record>& list, const Encode& encode)
      QUORL_REQUIRES(queue_);
  void write(const std::string& path, const Bytes& bytes) QUORL_REQUIRES(queue_);
  void notifyTrustChanged();

  const SerialQueue queue_;
  const std::shared_ptr<FileStore> files_;
  const std::shared_ptr<SecureRandom> random_;
  const std::string directory_;
  const std::string trustPath_;
  const std::string settingsPath_;
  std::vector<TrustedDevice> devices_ QUORL_GUARDED_BY(queue_);
  HostSettings settings_ QUORL_GUARDED_BY(queue_);
  std::function<void()> onTrustChanged_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
