// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>

#include <algorithm>

#include <QuorlHostCore/Agents/Stores/ServiceURL.h>
#include <QuorlHostCore/Storage/SmallJSONFile.h>
#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

constexpr const char* servicesFile = "custom-services.json";
constexpr const char* bundlesFile = "gui-agent-bundles.json";

}  // namespace

HostExtrasStore::HostExtrasStore(Scheduler& scheduler, std::shared_ptr<FileStore> files,
                                 const std::string& directory)
    : queue_(scheduler, "quorl.hostextras", QueueRank::store),
      files_(std::move(files)),
      directory_(directory) {
  queue_.sync([this] {
    queue_.scheduler().blocking([this] {
      queue_.assertCurrent();
      load();
    });
  });
}

void HostExtrasStore::load() {
  using SmallJSONFile::read;
  if (auto services = read<std::vector<CustomService>>(*files_, directory_, servicesFile))
    services_ = std::move(*services);
  if (auto bundles = read<std::vector<std::string>>(*files_, directory_, bundlesFile))
    bundles_ = std::move(*bundles);
}

std::vector<CustomService> HostExtrasStore::customServices() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return services_;
  });
}

void HostExtrasStore::addService(const CustomService& service) {
  queue_.sync([&] {
    queue_.assertCurrent();
    std::erase_if(services_, [&](const CustomService& other) { return other.id == service.id; });
    services_.push_back(service);
    persistServices();
  });
}

void HostExtrasStore::removeService(const UUID& id) {
  queue_.sync([&] {
    queue_.assertCurrent();
    std::erase_if(services_, [&](const CustomService& other) { return other.id == id; });
    persistServices();
  });
}

void HostExtrasStore::persistServices() {
  queue_.scheduler().blocking([this] {
    queue_.assertCurrent();
    SmallJSONFile::write(*files_, directory_, servicesFile, services_);
  });
}

void HostExtrasStore::persistBundles() {
  queue_.scheduler().blocking([this] {
    queue_.assertCurrent();
    SmallJSONFile::write(*files_, directory_, bundlesFile, bundles_);
  });
}

std::optional<ServiceDescriptor> HostExtrasStore::descriptorOf(const CustomService& service) {
  ServiceDescriptor descriptor;
  descriptor.processName = service.name;
  descriptor.title = service.note;
  if (service.port) {
    descriptor.port = *service.port;
    descriptor.loopbackOnly = true;
    return descriptor;
  }
  if (!service.urlString) return std::nullopt;
  const auto url = ServiceURL::parse(*service.urlString);
  if (!url) return std::nullopt;
  const std::uint64_t port = url->port.value_or(loweredASCII(url->scheme) == "https" ? 443 : 80);
  if (port > UINT16_MAX) return std::nullopt;
  descriptor.port = static_cast<std::uint16_t>(port);
  descriptor.loopbackOnly = url->host == "127.0.0.1" || url->host == "localhost" || url->host == "::1";
  return descriptor;
}

std::vector<ServiceDescriptor> HostExtrasStore::serviceDescriptors() const {
  std::vector<ServiceDescriptor> descriptors;
  for (const CustomService& service : customServices())
    if (auto descriptor = descriptorOf(service)) descriptors.push_back(std::move(*descriptor));
  return descriptors;
}

std::vector<std::string> HostExtrasStore::guiAgentBundles() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return bundles_;
  });
}

void HostExtrasStore::setGUIAgentBundles(const std::vector<std::string>& list) {
  std::vector<std::string> kept;
  for (const std::string& item : list) {
    std::string trimmed(trimmedBlanks(item));
    if (!trimmed.empty() && std::ranges::find(kept, trimmed) == kept.end())
      kept.push_back(std::move(trimmed));
  }
  queue_.sync([&] {
    queue_.assertCurrent();
    bundles_ = std::move(kept);
    persistBundles();
  });
}

}  // namespace quorl
