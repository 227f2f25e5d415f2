// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <utility>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <Support/FakeAdvertiser.h>
#include <Support/FakeDisplayCatalog.h>
#include <Support/FakeEventPoster.h>
#include <Support/FakeFileStore.h>
#include <Support/FakeListeningSockets.h>
#include <Support/FakeLoginSessions.h>
#include <Support/FakeMachineFacts.h>
#include <Support/FakeMachineMetrics.h>
#include <Support/FakeMainThread.h>
#include <Support/FakeNetwork.h>
#include <Support/FakeNetworkInterfaces.h>
#include <Support/FakePasteboard.h>
#include <Support/FakePermissions.h>
#include <Support/FakeProcessTable.h>
#include <Support/FakePseudoTerminals.h>
#include <Support/FakeRandom.h>
#include <Support/FakeRunningApplications.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeSessionFiles.h>
#include <Support/FakeSound.h>
#include <Support/FakeSystemPower.h>
#include <Support/FakeTerminalScripting.h>
#include <Support/FakeToolRunner.h>
#include <Support/FakeUserFiles.h>
#include <Support/FakeUsers.h>
#include <Support/FakeVideoCompressor.h>
#include <Support/FakeWorkspace.h>

namespace quorl::test {

/// Fakes of all ports of one host process. Processes of one machine share its ports and its console.
///
/// *Queue*: the simulation's one thread. *Lifetime*: outlives the host built on it; the scheduler outlives
/// both.
struct FakePlatform {
  explicit FakePlatform(SimulatedScheduler& simulation, std::string userName = "anna", std::uint64_t seed = 1,
                        std::shared_ptr<FakeMachine> sharedMachine = nullptr,
                        std::shared_ptr<FakeConsole> sharedConsole = nullptr)
      : scheduler(simulation),
        user(std::move(userName)),
        console(sharedConsole ? std::move(sharedConsole) : std::make_shared<FakeConsole>()),
        random(std::make_shared<FakeRandom>(seed)),
        network(std::make_shared<FakeNetwork>(simulation, std::move(sharedMachine))),
        loginSessions(std::make_shared<FakeLoginSessions>(user, console)),
        screen(std::make_shared<FakeScreenCapture>(simulation)) {
    if (!console->user) console->user = user;
    screen->content = oneDisplay({1920, 1080});
  }

  Platform platform() const {
    return {.scheduler = &scheduler,
            .random = random,
            .mainThread = mainThread,
            .network = network,
            .advertiser = advertiser,
            .files = files,
            .loginSessions = loginSessions,
            .machine = machine,
            .permissions = permissions,
            .workspace = workspace,
            .screen = screen,
            .compressors = compressors,
            .events = events,
            .runningApplications = runningApplications,
            .displays = displays,
            .metrics = metrics,
            .pasteboard = pasteboard,
            .images = images,
            .sound = sound,
            .soundCompressors = soundCompressors,
            .pseudoTerminals = pseudoTerminals,
            .processes = processes,
            .terminals = terminals,
            .sessionFiles = sessionFiles,
            .listeningSockets = listeningSockets,
            .interfaces = interfaces,
            .tools = tools,
            .powerAssertions = power,
            .displayPower = power,
            .screenLock = power,
            .volume = power,
            .userDirectory = userDirectory,
            .pictures = pictures,
            .credentials = credentials,
            .userFiles = userFiles,
            .applicationSupportDirectory = "/home/" + user + "/data"};
  }

  SimulatedScheduler& scheduler;
  std::string user;
  std::shared_ptr<FakeConsole> console;
  std::shared_ptr<FakeRandom> random;
  std::shared_ptr<FakeNetwork> network;
  std::shared_ptr<FakeLoginSessions> loginSessions;
  std::shared_ptr<FakeScreenCapture> screen;
  std::shared_ptr<FakeMainThread> mainThread = std::make_shared<FakeMainThread>();
  std::shared_ptr<FakeAdvertiser> advertiser = std::make_shared<FakeAdvertiser>();
  std::shared_ptr<FakeFileStore> files = std::make_shared<FakeFileStore>();
  std::shared_ptr<FakeMachineFacts> machine = std::make_shared<FakeMachineFacts>();
  std::shared_ptr<FakePermissions> permissions = std::make_shared<FakePermissions>();
  std::shared_ptr<FakeWorkspace> workspace = std::make_shared<FakeWorkspace>();
  std::shared_ptr<FakeVideoCompressorFactory> compressors = std::make_shared<FakeVideoCompressorFactory>();
  std::shared_ptr<FakeRunningApplications> runningApplications = std::make_shared<FakeRunningApplications>();
  std::shared_ptr<FakeDisplayCatalog> displays = std::make_shared<FakeDisplayCatalog>();
  std::shared_ptr<FakeMachineMetrics> metrics = std::make_shared<FakeMachineMetrics>();
  std::shared_ptr<FakePasteboard> pasteboard = std::make_shared<FakePasteboard>();
  std::shared_ptr<FakeImageConverter> images = std::make_shared<FakeImageConverter>();
  std::shared_ptr<FakeSoundCapture> sound = std::make_shared<FakeSoundCapture>();
  std::shared_ptr<FakeSoundCompressors> soundCompressors = std::make_shared<FakeSoundCompressors>();
  std::shared_ptr<FakeEventPoster> events = std::make_shared<FakeEventPoster>();
  std::shared_ptr<FakePseudoTerminals> pseudoTerminals = std::make_shared<FakePseudoTerminals>();
  std::shared_ptr<FakeProcessTable> processes = std::make_shared<FakeProcessTable>();
  std::shared_ptr<FakeTerminalScripting> terminals = std::make_shared<FakeTerminalScripting>();
  std::shared_ptr<FakeSystemPower> power = std::make_shared<FakeSystemPower>();
  std::shared_ptr<FakeUserDirectory> userDirectory = std::make_shared<FakeUserDirectory>();
  std::shared_ptr<FakePictureScaler> pictures = std::make_shared<FakePictureScaler>();
  std::shared_ptr<FakeCredentials> credentials = std::make_shared<FakeCredentials>();
  std::shared_ptr<FakeSessionFiles> sessionFiles = std::make_shared<FakeSessionFiles>();
  std::shared_ptr<FakeListeningSockets> listeningSockets = std::make_shared<FakeListeningSockets>();
  std::shared_ptr<FakeNetworkInterfaces> interfaces = std::make_shared<FakeNetworkInterfaces>();
  std::shared_ptr<FakeToolRunner> tools = std::make_shared<FakeToolRunner>();
  std::shared_ptr<FakeUserFiles> userFiles = std::make_shared<FakeUserFiles>();
};

}  // namespace quorl::test
