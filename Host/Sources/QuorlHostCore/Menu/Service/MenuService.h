// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Menu/Model/MenuMessages.h>
#include <QuorlHostCore/Menu/Service/MenuCommands.h>
#include <QuorlHostCore/Menu/Service/MenuPace.h>
#include <QuorlHostCore/Menu/Service/MenuReader.h>
#include <QuorlHostCore/Ports/DesktopNotifier.h>
#include <QuorlHostCore/Ports/MenuSurface.h>

namespace quorl {

/// What the person at the machine sees of the host: starts the program that shows it, keeps its open windows
/// up to date, and passes on what the person asks for. While no window is open nothing runs.
///
/// *Queue*: "quorl.menu"; every operation may be called from any thread but a queue of the host.
/// *Blocking*: only `stop`, as `MenuSurface::close` does.
/// *Ownership*: the application's. It holds the host's services; their callbacks hold it weakly.
/// *Lifetime*: made before the server starts, stopped before it stops.
class MenuService : public std::enable_shared_from_this<MenuService> {
 public:
  static constexpr Duration panelInterval = std::chrono::seconds(1);
  static constexpr Duration setupInterval = std::chrono::seconds(2);
  /// How long a snapshot waits for a slow source, whose last value it then shows.
  static constexpr Duration patience = std::chrono::milliseconds(40);

  enum class FirstStart : std::uint8_t { opensSetup, opensNothing };

  struct Outlets {
    std::shared_ptr<MenuSurface> surface;
    std::shared_ptr<DesktopNotifier> notifier;  // may be absent
    std::function<void()> quit;                 // on the queue
    FirstStart firstStart = FirstStart::opensNothing;
  };

  /// Reads the stored identity: no client must be able to connect yet, because the first one creates it.
  static std::shared_ptr<MenuService> make(Scheduler& scheduler, MenuSources sources, Outlets outlets);

  void start();
  void stop();
  /// Opens the panel, at once or when the program is ready.
  void showPanel();
  /// The network's state has changed.
  void networkChanged() { refreshOpenWindows(); }

 private:
  /// An open window, what it was last sent, and the timer that keeps its times current.
  template <class Content>
  struct Window {
    bool isOpen = false;
    std::optional<Content> sent;
    Timer timer;

    void close() {
      isOpen = false;
      sent.reset();
      timer.cancel();
    }
  };

  MenuService(Scheduler& scheduler, Outlets outlets, const MenuSources& sources);
  void observe(const MenuSources& sources);

  void tryToStart() QUORL_REQUIRES(queue_);
  void tryLater(std::optional<Duration> delay) QUORL_REQUIRES(queue_);
  void programEnded(const std::string& reason) QUORL_REQUIRES(queue_);
  void displayAppeared() QUORL_REQUIRES(queue_);
  void ready() QUORL_REQUIRES(queue_);

  void received(const std::string& line) QUORL_REQUIRES(queue_);
  void handle(const MenuAction& action) QUORL_REQUIRES(queue_);
  void reportMissingTray() QUORL_REQUIRES(queue_);

  template <class Content>
  void openWindow(Window<Content>& window, Duration interval) QUORL_REQUIRES(queue_);
  void refreshOpenWindows();
  void refresh() QUORL_REQUIRES(queue_);
  void factsArrived() QUORL_REQUIRES(queue_);
  void push() QUORL_REQUIRES(queue_);
  void send(const MenuMessage& message) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const Outlets outlets_;
  const std::uint16_t port_;
  const bool canStartAtLogin_;
  const bool opensSetupOnce_;  // the first start
  const MenuCommands commands_;
  std::shared_ptr<MenuReader> reader_;  // set once, before any other thread; used on the queue

  MenuPace pace_ QUORL_GUARDED_BY(queue_);
  bool isRunning_ QUORL_GUARDED_BY(queue_) = false;
  bool isReady_ QUORL_GUARDED_BY(queue_) = false;
  bool isStopped_ QUORL_GUARDED_BY(queue_) = false;
  bool showsPanelWhenReady_ QUORL_GUARDED_BY(queue_) = false;
  bool hasReportedTray_ QUORL_GUARDED_BY(queue_) = false;
  bool hasOpenedSetup_ QUORL_GUARDED_BY(queue_) = false;
  Timer startTimer_ QUORL_GUARDED_BY(queue_);
  Window<PopoverSnapshot> panel_ QUORL_GUARDED_BY(queue_);
  Window<SetupSnapshot> setup_ QUORL_GUARDED_BY(queue_);
  Timer patienceTimer_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
