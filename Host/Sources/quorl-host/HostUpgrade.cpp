// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostUpgrade.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <initializer_list>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostLinux/Upgrade/MemoryFile.h>
#include <QuorlHostLinux/Upgrade/ProgramStart.h>
#include <QuorlHostPosix/DescriptorLimit.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

namespace {

constexpr const char* variable = "QUORL_HOST_HANDOVER";
constexpr std::string_view trial = "trial:";
constexpr std::string_view take = "take:";
constexpr std::chrono::seconds trialLimit{5};
// Not 0 or 1, with which programs that know nothing of this end.
constexpr int acceptedStatus = 86;
constexpr int refusedStatus = 87;

std::optional<int> descriptorIn(const std::optional<std::string>& value, std::string_view purpose) {
  if (!value || !value->starts_with(purpose)) return std::nullopt;
  int number = -1;
  const char* const end = value->data() + value->size();
  const auto [rest, error] = std::from_chars(value->data() + purpose.size(), end, number);
  if (error != std::errc() || rest != end || number < 0) return std::nullopt;
  return number;
}

std::expected<HandOver, std::string> readFrom(int descriptor) {
  const auto bytes = readSealedMemoryFile(descriptor, HandOverFormat::maxSize);
  if (!bytes) return std::unexpected("not a sealed memory file");
  return HandOverFormat::decode(*bytes);
}

std::vector<std::string> environmentWithout(std::initializer_list<std::string_view> names) {
  std::vector<std::string> result;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const std::string_view name = text.substr(0, text.find('='));
    if (std::ranges::find(names, name) == names.end()) result.emplace_back(text);
  }
  return result;
}

// A version that does not know the variable starts as a host. Without the user's folders and desktop it does
// no harm in the seconds until it is killed; the port is in use.
std::vector<std::string> environmentOfTrial() {
  auto environment = environmentWithout(
      {variable, "HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "DISPLAY", "WAYLAND_DISPLAY"});
  environment.push_back("HOME=/nonexistent");
  environment.push_back(fmt::format("{}={}{}", variable, trial, trialDescriptor));
  return environment;
}

std::vector<int> terminalsOf(const HandOver& handOver) {
  std::vector<int> descriptors;
  for (const auto& spawned : handOver.agents.spawned)
    if (spawned.session.terminal) descriptors.push_back(spawned.session.terminal->handle);
  return descriptors;
}

}  // namespace

HostUpgrade::HostUpgrade(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

std::optional<int> HostUpgrade::answerToTrial() {
  const auto descriptor = descriptorIn(processEnvironment()(variable), trial);
  if (!descriptor) return std::nullopt;
  const auto handOver = readFrom(*descriptor);
  if (handOver) return acceptedStatus;
  fmt::print(stderr, "quorl-host: refuses the hand-over: {}\n", handOver.error());
  return refusedStatus;
}

// Agents must not inherit the variable.
std::optional<HandOver> HostUpgrade::takeOver() {
  const Descriptor file(descriptorIn(processEnvironment()(variable), take).value_or(-1));
  ::unsetenv(variable);
  if (!file.isOpen()) return std::nullopt;
  auto handOver = readFrom(file.get());
  if (!handOver) {
    Log::app.event(fmt::format("the agents were lost in the upgrade: {}", handOver.error()));
    return std::nullopt;
  }
  Log::app.event(
      fmt::format("continues after an upgrade, with {} agent(s)", handOver->agents.spawned.size()));
  return std::move(*handOver);
}

void HostUpgrade::beginWatch() {
  requests_ = std::make_unique<UpgradeRequests>([this](int cancel) { consider(cancel); });
  deliverSignals();
}

void HostUpgrade::whenAccepted(std::function<void()> accepted) {
  {
    const std::lock_guard lock(mutex_);
    whenAccepted_ = accepted;
    if (!isAccepted_) return;
  }
  accepted();
}

bool HostUpgrade::endWatch() {
  requests_.reset();
  const std::lock_guard lock(mutex_);
  whenAccepted_ = nullptr;
  return std::exchange(isAccepted_, false);
}

void HostUpgrade::consider(int cancel) {
  if (!program_.isAnother()) return Log::app.event("upgrade requested, but this is the installed version");
  const Descriptor file = sealedMemoryFile(HandOverFormat::encode(HandOverFormat::sample()));
  const TrialAnswer answer =
      tryProgram({.path = program_.path(), .arguments = arguments_, .environment = environmentOfTrial()},
                 file.get(), acceptedStatus, trialLimit, cancel);
  if (!answer.isAccepted)
    return Log::app.event(
        fmt::format("no upgrade to {}: {}; this version goes on", program_.path(), answer.reason));
  Log::app.event(fmt::format("upgrading to {}", program_.path()));
  const std::lock_guard lock(mutex_);
  isAccepted_ = true;
  if (whenAccepted_) whenAccepted_();
}

void HostUpgrade::execute(const HandOver& handOver, const TerminationSignals& signals,
                          std::optional<std::uint64_t> descriptorLimit) {
  const Descriptor file = sealedMemoryFile(HandOverFormat::encode(handOver));
  if (!file.isOpen())
    return Log::app.event("upgrade failed: no memory for the agents' state; this version goes on");
  ProgramStart start{
      .path = program_.path(), .arguments = arguments_, .environment = environmentWithout({variable})};
  start.environment.push_back(fmt::format("{}={}{}", variable, take, file.get()));
  std::vector<int> kept = terminalsOf(handOver);
  kept.push_back(file.get());
  if (descriptorLimit) lowerDescriptorLimit(*descriptorLimit);
  holdSignals(signals.descriptor());
  const int error = replaceProcess(start, kept);
  Log::app.event(fmt::format("upgrade failed: {}; this version goes on", systemError(error).description));
}

}  // namespace quorl
