// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostPlatform.h"

#include <QuorlHostCore/Agents/Terminals/TerminalGroup.h>
#include <QuorlHostCore/Power/PowerAssertionGroup.h>
#include <QuorlHostLinux/Agents/HomeSessionFiles.h>
#include <QuorlHostLinux/Agents/KittyTerminals.h>
#include <QuorlHostLinux/Agents/ProcProcessTable.h>
#include <QuorlHostLinux/Agents/TmuxTerminals.h>
#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostLinux/Applications/DesktopWorkspace.h>
#include <QuorlHostLinux/Applications/ProgramLauncher.h>
#include <QuorlHostLinux/Files/HomeUserFiles.h>
#include <QuorlHostLinux/Images/ScaledPictures.h>
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>
#include <QuorlHostLinux/Network/LinuxNetworkInterfaces.h>
#include <QuorlHostLinux/Network/LinuxOverlayPlaces.h>
#include <QuorlHostLinux/Power/BusAssertions.h>
#include <QuorlHostLinux/Power/SessionScreenLock.h>
#include <QuorlHostLinux/Sockets/KernelListeningSockets.h>
#include <QuorlHostLinux/Sound/PulseSoundCapture.h>
#include <QuorlHostLinux/Sound/PulseVolume.h>
#include <QuorlHostLinux/SoundCoding/AACCompressor.h>
#include <QuorlHostLinux/System/AvahiAdvertiser.h>
#include <QuorlHostLinux/System/LinuxMachineFacts.h>
#include <QuorlHostLinux/System/LogindSessions.h>
#include <QuorlHostLinux/System/ProcMachineMetrics.h>
#include <QuorlHostLinux/Users/PamCredentials.h>
#include <QuorlHostLinux/Users/PasswdDirectory.h>
#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlHostPosix/PosixPseudoTerminals.h>
#include <QuorlHostPosix/PosixToolRunner.h>
#include <QuorlHostPosix/UserFolders.h>

#include "Desktops.h"
#include "HostMenu.h"
#include "LaunchAgent.h"

namespace quorl {

namespace {

/// Kitty instances are found in the processes that are read anyway, so that they cost nothing while there is
/// none.
std::shared_ptr<TerminalScripting> makeTerminals(std::shared_ptr<ProcProcessTable> processes) {
  KittyTerminals::Settings kitty;
  kitty.children = [processes = std::move(processes)] { return processes->childrenOf("kitty"); };
  return std::make_shared<TerminalGroup>(
      TerminalGroup::Members{std::make_shared<TmuxTerminals>(TmuxTerminals::Settings::ofThisUser()),
                             std::make_shared<KittyTerminals>(std::move(kitty))});
}

bool startLocker(const std::vector<std::string>& arguments) {
  return launchProgram(arguments, {}) == LaunchResult::started;
}

/// What the desktop can do and what the buses can do, as one.
std::shared_ptr<PowerAssertions> withBuses(std::shared_ptr<PowerAssertions> desktop) {
  PowerAssertionGroup::Members members{std::make_shared<BusAssertions>()};
  if (desktop) members.push_back(std::move(desktop));
  return std::make_shared<PowerAssertionGroup>(std::move(members));
}

}  // namespace

HostPlatform::HostPlatform(Settings settings)
    : loop_(std::make_shared<MainLoop>()),
      network_(std::make_shared<SocketNetwork>()),
      relayNetwork_(std::make_shared<SocketNetwork>(scheduler_)) {
  platform_.scheduler = &scheduler_;
  // The generator has no state and needs no owner.
  platform_.random = std::shared_ptr<SecureRandom>(&SystemSecureRandom::shared(), [](SecureRandom*) {});
  platform_.mainThread = loop_;
  platform_.network = network_;
  platform_.relayNetwork = relayNetwork_;
  platform_.advertiser = std::make_shared<AvahiAdvertiser>();
  platform_.files = std::make_shared<PosixFileStore>();
  platform_.loginSessions = std::make_shared<LogindSessions>();
  platform_.machine = std::make_shared<LinuxMachineFacts>();
  platform_.metrics = std::make_shared<ProcMachineMetrics>();
  platform_.workspace = std::make_shared<DesktopWorkspace>(currentDataFolders(), settings.descriptorLimit);
  platform_.pseudoTerminals = std::make_shared<PosixPseudoTerminals>(std::string(), settings.descriptorLimit);
  const auto processes = std::make_shared<ProcProcessTable>();
  platform_.processes = processes;
  platform_.terminals = makeTerminals(processes);
  platform_.sessionFiles = std::make_shared<HomeSessionFiles>(currentUserFolders().home);
  platform_.userFiles = std::make_shared<HomeUserFiles>(HomeUserFiles::currentPlaces());
  platform_.applicationSupportDirectory = currentUserFolders().data;
  platform_.compressors = makeLinuxVideoCompressors();
  platform_.sound = std::make_shared<PulseSoundCapture>();
  platform_.soundCompressors = makeAACCompressors();
  platform_.listeningSockets = std::make_shared<KernelListeningSockets>();
  platform_.interfaces = std::make_shared<LinuxNetworkInterfaces>();
  platform_.tools = std::make_shared<PosixToolRunner>(processEnvironment()("PATH").value_or(""));
  platform_.overlays = linuxOverlayPlaces();
  platform_.volume = std::make_shared<PulseVolume>();
  platform_.screenLock = std::make_shared<SessionScreenLock>(startLocker);
  platform_.userDirectory = std::make_shared<PasswdDirectory>();
  platform_.pictures = std::make_shared<ScaledPictures>();
  platform_.credentials = std::make_shared<PamCredentials>();
  platform_.loginItem =
      std::make_shared<LaunchAgent>(platform_.files, currentStartAtLoginFile(settings.command));
  platform_.notifier = std::move(settings.notifier);
  platform_.menu = makeMenuSurface(processEnvironment(), currentExecutable(settings.command));
  desktopFor(processEnvironment()).addTo(platform_);
  platform_.powerAssertions = withBuses(std::move(platform_.powerAssertions));
}

}  // namespace quorl
