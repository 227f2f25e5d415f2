// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/OverlayPlaces.h>

namespace quorl {

class CredentialAuthority;
class DesktopNotifier;
class DisplayCatalog;
class DisplayPower;
class EventPoster;
class FileStore;
class ImageConverter;
class ListeningSockets;
class LoginItem;
class LoginSessions;
class MachineFacts;
class MachineMetrics;
class MainThread;
class MenuSurface;
class Network;
class NetworkInterfaces;
class OutputVolume;
class Pasteboard;
class Permissions;
class PictureScaler;
class PowerAssertions;
class ProcessTable;
class PseudoTerminals;
class RunningApplications;
class Scheduler;
class ScreenCapture;
class ScreenLock;
class SecureRandom;
class ServiceAdvertiser;
class SessionFiles;
class SoundCapture;
class SoundCompressorFactory;
class TerminalScripting;
class ToolRunner;
class UserDirectory;
class UserFiles;
class VideoCompressorFactory;
class WindowControl;
class Workspace;

/// The ports that the host needs, created by `main` and passed to `HostRuntime`. Each port's header documents
/// its queue, blocking, ownership and lifetime; a user of a port includes that header.
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
  std::shared_ptr<MenuSurface> menu;
  std::shared_ptr<LoginItem> loginItem;
  std::shared_ptr<DesktopNotifier> notifier;
  std::string applicationSupportDirectory;  // absolute; the host's own folder in it is "QuorlHost"
};

}  // namespace quorl
