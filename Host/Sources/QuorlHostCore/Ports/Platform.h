// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Ports/CredentialAuthority.h>
#include <QuorlHostCore/Ports/DisplayCatalog.h>
#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlHostCore/Ports/ListeningSockets.h>
#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostCore/Ports/MachineFacts.h>
#include <QuorlHostCore/Ports/MachineMetrics.h>
#include <QuorlHostCore/Ports/MainThread.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Ports/NetworkInterfaces.h>
#include <QuorlHostCore/Ports/OverlayPlaces.h>
#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostCore/Ports/PictureScaler.h>
#include <QuorlHostCore/Ports/ProcessTable.h>
#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlHostCore/Ports/RunningApplications.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostCore/Ports/ServiceAdvertiser.h>
#include <QuorlHostCore/Ports/SessionFiles.h>
#include <QuorlHostCore/Ports/Sound.h>
#include <QuorlHostCore/Ports/SystemPower.h>
#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlHostCore/Ports/ToolRunner.h>
#include <QuorlHostCore/Ports/UserDirectory.h>
#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlHostCore/Ports/Workspace.h>
#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

/// The ports that the host needs, created by `main` and passed to `HostRuntime`. Each port's header documents
/// its queue, blocking, ownership and lifetime.
///
/// *Ownership*: shared with every object that uses a port. The scheduler is borrowed and outlives them all.
struct Platform {
  Scheduler* scheduler = nullptr;
  std::shared_ptr<SecureRandom> random;
  std::shared_ptr<MainThread> mainThread;
  std::shared_ptr<Network> network;
  std::shared_ptr<ServiceAdvertiser> advertiser;
  std::shared_ptr<FileStore> files;
  std::shared_ptr<LoginSessions> loginSessions;
  std::shared_ptr<MachineFacts> machine;
  std::shared_ptr<Permissions> permissions;
  std::shared_ptr<Workspace> workspace;
  std::shared_ptr<ScreenCapture> screen;
  std::shared_ptr<VideoCompressorFactory> compressors;
  std::shared_ptr<EventPoster> events;
  // Each of these may be absent; then the host does without.
  std::shared_ptr<Network> relayNetwork;  // of the relay alone, so that its waits delay no session
  std::shared_ptr<WindowControl> windows;
  std::shared_ptr<RunningApplications> runningApplications;
  std::shared_ptr<DisplayCatalog> displays;
  std::shared_ptr<MachineMetrics> metrics;
  std::shared_ptr<Pasteboard> pasteboard;
  std::shared_ptr<ImageConverter> images;
  std::shared_ptr<SoundCapture> sound;
  std::shared_ptr<SoundCompressorFactory> soundCompressors;
  std::shared_ptr<PseudoTerminals> pseudoTerminals;
  std::shared_ptr<ProcessTable> processes;
  std::shared_ptr<TerminalScripting> terminals;
  std::shared_ptr<SessionFiles> sessionFiles;
  std::shared_ptr<ListeningSockets> listeningSockets;
  std::shared_ptr<NetworkInterfaces> interfaces;
  std::shared_ptr<ToolRunner> tools;
  OverlayPlaces overlays;
  std::shared_ptr<PowerAssertions> powerAssertions;
  std::shared_ptr<DisplayPower> displayPower;
  std::shared_ptr<ScreenLock> screenLock;
  std::shared_ptr<OutputVolume> volume;
  std::shared_ptr<UserDirectory> userDirectory;
  std::shared_ptr<PictureScaler> pictures;
  std::shared_ptr<CredentialAuthority> credentials;
  std::shared_ptr<UserFiles> userFiles;
  std::string applicationSupportDirectory;  // absolute; the host's own folder in it is "QuorlHost"
};

}  // namespace quorl
