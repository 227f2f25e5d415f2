// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Trust/TrustStore.h>

#include <algorithm>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Storage/BoundedList.h>
#include <QuorlHostCore/Storage/HostSupportPaths.h>
#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

namespace {

// In user-perceived characters and in bytes. A stranger chooses the device name.
constexpr std::size_t maxNameLength = 255;
constexpr std::size_t maxNameSize = 1024;

std::string shortened(const std::string& name) {
  std::string_view kept = firstCharacters(name, maxNameLength);
  return std::string(firstBytes(kept, maxNameSize));
}

// A damaged file counts as missing: the clients pair again, and the next write replaces it.
template <class Record>
std::optional<Record> readRecord(FileStore& files, const std::string& path) {
  const auto bytes = files.read(path, maxStateFileSize);
  if (!bytes) return std::nullopt;
  auto record = decodeRecord<Record>(*bytes);
  if (!record) return std::nullopt;
  return std::move(*record);
}

}  // namespace

TrustStore::TrustStore(const Platform& platform, const std::optional<std::string>& directory)
    : queue_(*platform.scheduler, "quorl.truststore", QueueRank::store),
      files_(platform.files),
      random_(platform.random),
      directory_(HostSupportPaths::directory(directory, platform.applicationSupportDirectory)),
      trustPath_(HostSupportPaths::file(directory_, "trust.json")),
      settingsPath_(HostSupportPaths::file(directory_, "settings.json")) {
  queue_.sync([this] {
    queue_.scheduler().blocking([this] {
      queue_.assertCurrent();
      load();
    });
  });
}

void TrustStore::load() {
  // If this fails, later writes fail and are logged.
  static_cast<void>(files_->createPrivateDirectory(directory_));
  if (auto devices = readRecord<std::vector<TrustedDevice>>(*files_, trustPath_))
    devices_ = std::move(*devices);
  if (auto settings = readRecord<HostSettings>(*files_, settingsPath_)) settings_ = std::move(*settings);
}

std::vector<TrustedDevice> TrustStore::trustedDevices() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return devices_;
  });
}

bool TrustStore::matchesAnyToken(ByteView proof, ByteView nonce) const {
  const auto devices = trustedDevices();
  return std::ranges::any_of(devices, [&](const TrustedDevice& device) {
    const auto token = base64Decoded(device.tokenBase64);
    // Anyone can make a proof with an empty key.
    return token && !token->empty() && Pairing::constantTimeEquals(Pairing::tokenProof(*token, nonce), proof);
  });
}

Bytes TrustStore::addDevice(UUID deviceID, const std::string& name) {
  Bytes token = Pairing::randomToken(*random_);
  queue_.sync([&] {
    queue_.assertCurrent();
    std::erase_if(devices_, [&](const TrustedDevice& device) { return device.deviceID == deviceID; });
    devices_.push_back({deviceID, shortened(name), base64Encoded(token), queue_.scheduler().date()});
    persistDevices();
  });
  notifyTrustChanged();
  return token;
}

void TrustStore::revokeAll() {
  queue_.sync([this] {
    queue_.assertCurrent();
    devices_.clear();
    persistDevices();
  });
  notifyTrustChanged();
}

HostSettings TrustStore::settings() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return settings_;
  });
}

void TrustStore::setSettings(HostSettings settings) {
  updateSettings([&](HostSettings& current) { current = std::move(settings); });
}

void TrustStore::updateSettings(const std::function<void(HostSettings&)>& mutator) {
  queue_.sync([&] {
    queue_.assertCurrent();
    mutator(settings_);
    persistSettings();
  });
}

void TrustStore::rememberSpawnConfig(const AgentSpawnConfig& config) {
  updateSettings([&](HostSettings& settings) {
    auto& recent = settings.recentAgentConfigs;
    std::erase(recent, config);
    recent.insert(recent.begin(), config);
    if (recent.size() > maxRememberedConfigs) recent.resize(maxRememberedConfigs);
  });
}

UUID TrustStore::hostDeviceID() {
  if (const auto known = settings().hostDeviceID) return *known;
  UUID identity;
  updateSettings([&](HostSettings& settings) {
    // Checked again in the step that writes, so that two concurrent first callers get the same identifier.
    if (!settings.hostDeviceID) settings.hostDeviceID = UUID::random(*random_);
    identity = *settings.hostDeviceID;
  });
  return identity;
}

void TrustStore::onTrustChanged(std::function<void()> handler) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onTrustChanged_ = std::move(handler);
  });
}

void TrustStore::notifyTrustChanged() {
  const auto handler = queue_.sync([this] {
    queue_.assertCurrent();
    return onTrustChanged_;
  });
  if (handler) handler();
}

void TrustStore::persistDevices() {
  persist(trustPath_, devices_, [](const std::vector<TrustedDevice>& devices) {
    return encodeRecord(devices, JsonStyle::prettySorted);
  });
}

void TrustStore::persistSettings() {
  persist(settingsPath_, settings_.recentAgentConfigs, [this](const std::vector<AgentSpawnConfig>& configs) {
    queue_.assertCurrent();
    HostSettings settings = settings_;
    settings.recentAgentConfigs = configs;
    return encodeRecord(settings, JsonStyle::prettySorted);
  });
}

template <class Record, class Encode>
void TrustStore::persist(const std::string& path, const std::vector<Record>& list, const Encode& encode) {
  std::size_t leftOut = 0;
  const auto bytes = encodeWithin(maxStateFileSize, list, encode, leftOut);
  if (leftOut > 0)
    Log::auth.error(fmt::format("trust store write failed: {} record(s) too large to keep", leftOut));
  if (bytes) write(path, *bytes);
}

void TrustStore::write(const std::string& path, const Bytes& bytes) {
  std::expected<void, PortError> written;
  queue_.scheduler().blocking([&] { written = files_->writeAtomically(path, bytes); });
  if (!written) Log::auth.error(fmt::format("trust store write failed: {}", written.error().description));
}

}  // namespace quorl
