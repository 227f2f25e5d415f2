// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QuorlHostLinux/X11/Capture/CaptureOutlet.h>
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>

namespace quorl {

/// Runs all captures of one display: waits for damage, fetches each source once and serves all its streams.
///
/// *Queue*: operations from any thread; the work on the engine's own thread.
/// *Ownership*: owns the thread with its connection, the sources, the outlets.
/// *Lifetime*: destruction ends all captures without a callback.
class CaptureEngine final : public X11Loop::Client {
 public:
  explicit CaptureEngine(X11DisplayName displayName);
  ~CaptureEngine() override;

  std::uint64_t makeID() { return ++lastID_; }
  void add(std::uint64_t id, const CaptureFilter& filter, const CaptureSettings& settings,
           std::shared_ptr<StreamCallbacks> callbacks, std::shared_ptr<PictureRequests> requests,
           CaptureStream::Completion completion);
  std::shared_ptr<PictureRequests> makeRequests() const;
  void update(std::uint64_t id, const CaptureSettings& settings, std::shared_ptr<StreamCallbacks> callbacks,
              CaptureStream::Completion completion);
  void remove(std::uint64_t id);

  std::uint64_t wakeups() const { return loop_->wakeups(); }
  std::uint64_t grabs() const { return grabs_; }

 private:
  struct Shown {
    CaptureFilter filter;
    std::unique_ptr<CaptureSource> source;
    std::vector<std::unique_ptr<CaptureOutlet>> outlets;
    std::vector<CaptureOutlet*> open{};  // the outlets that take a picture in this turn
    PointRect place{};                   // of a display, as last reported
    struct Lost {
      PortError error;
      SteadyTime end;  // when the capture ends
    };
    std::optional<Lost> lost{};  // for a display that is not there now
    /// An outlet whose start is not answered, because there is nothing to show yet.
    struct Start {
      CaptureOutlet* outlet;
      CaptureStream::Completion completion;
      SteadyTime end;  // when it fails
    };
    std::vector<Start> starts{};
  };

  void connected(X11Connection& connection) override;
  void handle(const void* event) override;
  std::optional<SteadyTime> turn() override;
  void lost() override;

  std::expected<Shown*, PortError> shownFor(const CaptureFilter& filter);
  std::expected<std::unique_ptr<CaptureSource>, PortError> makeSource(X11Connection& connection,
                                                                      const CaptureFilter& filter);
  std::shared_ptr<Scene> scene();
  void settle(SteadyTime now);
  std::optional<SteadyTime> answerStarts(Shown& shown, SteadyTime now);
  std::optional<SteadyTime> turnOf(Shown& shown, SteadyTime now);
  CaptureOutlet* find(std::uint64_t id);
  void fetch(SteadyTime now);
  bool needsCursor(const Shown& shown) const;
  std::expected<void, PortError> serve(Shown& shown, SteadyTime now);
  std::optional<SteadyTime> nextTurn(const Shown& shown, SteadyTime now) const;
  void selectCursor();
  void end(Shown& shown, const PortError& error);
  void dropUnused();
  void monitorsChanged();

  std::atomic<std::uint64_t> lastID_{0};
  std::atomic<std::uint64_t> grabs_{0};
  // The engine's thread:
  X11Connection* connection_ = nullptr;
  std::weak_ptr<Scene> scene_;  // while a source needs it
  std::vector<std::unique_ptr<Shown>> shown_;
  CursorOverlay cursor_;
  bool isCursorSelected_ = false;
  bool monitorsMayHaveChanged_ = false;

  std::unique_ptr<X11Loop> loop_;
};

}  // namespace quorl
