// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include "Desktops.h"

namespace quorl {

namespace {

PortError noDesktop() {
  return {"there is no desktop", 0};
}

class NoPermissions final : public Permissions {
 public:
  bool mayPostInput() override { return false; }
  bool mayCaptureScreen() override { return false; }
  void requestInput() override {}
  void requestScreenCapture() override {}
  bool hasPrompt() override { return false; }
  std::string inputObstacle() override { return "There is no display."; }
  std::string screenCaptureObstacle() override { return "There is no display."; }
};

class NoScreen final : public ScreenCapture {
 public:
  explicit NoScreen(Scheduler& scheduler) : scheduler_(scheduler) {}

  void shareableContent(ContentAnswer answer) override {
    scheduler_.execute([answer = std::move(answer)]() mutable { answer(ShareableContent{}); });
  }
  void geometry(const CaptureFilter&, GeometryAnswer answer) override {
    scheduler_.execute([answer = std::move(answer)]() mutable { answer(std::unexpected(noDesktop())); });
  }
  std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(const CaptureFilter&,
                                                                      const CaptureSettings&, SerialQueue,
                                                                      CaptureStream::Handlers) override {
    return std::unexpected(noDesktop());
  }

 private:
  Scheduler& scheduler_;
};

class NoEvents final : public EventPoster {
 public:
  void post(const SyntheticEvent&) override {}
};

}  // namespace

void addNoDesktop(Platform& platform) {
  platform.permissions = std::make_shared<NoPermissions>();
  platform.screen = std::make_shared<NoScreen>(*platform.scheduler);
  platform.events = std::make_shared<NoEvents>();
}

}  // namespace quorl
