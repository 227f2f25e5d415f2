// SPDX-License-Identifier: GPL-3.0-or-later
// A host without any desktop: no display, no permission, no encoder. Everything else of it works.
#include "DesktopAdapters.h"

namespace quorl {

namespace {

PortError noDesktop() {
  return {"this build has no desktop", 0};
}

class NoPermissions final : public Permissions {
 public:
  bool mayPostInput() override { return false; }
  bool mayCaptureScreen() override { return false; }
  void requestInput() override {}
  void requestScreenCapture() override {}
};

class NoScreen final : public ScreenCapture {
 public:
  explicit NoScreen(Scheduler& scheduler) : scheduler_(scheduler) {}

  void shareableContent(ContentAnswer answer) override {
    scheduler_.execute([answer = std::move(answer)]() mutable { answer(ShareableContent{}); });
  }
  std::expected<FilterGeometry, PortError> geometry(const CaptureFilter&) override {
    return std::unexpected(noDesktop());
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

class NoCompressors final : public VideoCompressorFactory {
 public:
  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(const CompressorSpecification&,
                                                                  VideoCompressor::Output) override {
    return std::unexpected(noDesktop());
  }
};

}  // namespace

void addDesktopAdapters(Platform& platform) {
  platform.permissions = std::make_shared<NoPermissions>();
  platform.screen = std::make_shared<NoScreen>(*platform.scheduler);
  platform.events = std::make_shared<NoEvents>();
  platform.compressors = std::make_shared<NoCompressors>();
}

}  // namespace quorl
