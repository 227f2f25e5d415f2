// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeScreenCapture.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace quorl::test {

FakePicture::FakePicture(PixelSize pictureSize, int tagged, std::uint8_t level)
    : tag(tagged),
      lumaBytes(static_cast<std::size_t>(pictureSize.width) * static_cast<std::size_t>(pictureSize.height),
                level),
      chromaBytes(lumaBytes.size() / 2, 128) {
  size = pictureSize;
  luma = lumaBytes.data();
  lumaStride = static_cast<std::size_t>(pictureSize.width);
  chroma = chromaBytes.data();
  chromaStride = lumaStride;
}

namespace {

class FakeCaptureStream : public CaptureStream {
 public:
  FakeCaptureStream(std::shared_ptr<FakeScreenCapture::Stream> record, std::optional<PortError> startError,
                    std::optional<PortError> updateError, Scheduler& scheduler)
      : record_(std::move(record)),
        startError_(std::move(startError)),
        updateError_(std::move(updateError)),
        scheduler_(scheduler) {}
  ~FakeCaptureStream() override { record_->released = true; }

  void start(Completion completion) override {
    record_->started = !startError_;
    complete(std::move(completion), startError_);
  }
  void requestPicture() override { ++record_->requests; }
  void updateSettings(const CaptureSettings& settings, Completion completion) override {
    record_->settings.push_back(settings);
    complete(std::move(completion), updateError_);
  }
  void stop() override { record_->stopped = true; }

 private:
  void complete(Completion completion, const std::optional<PortError>& error) {
    scheduler_.execute([completion = std::move(completion), error]() mutable {
      if (error)
        completion(std::unexpected(*error));
      else
        completion({});
    });
  }

  std::shared_ptr<FakeScreenCapture::Stream> record_;
  std::optional<PortError> startError_;
  std::optional<PortError> updateError_;
  Scheduler& scheduler_;
};

PointSize contentSizeOf(const CaptureFilter& filter, const ShareableContent& content) {
  if (const auto* window = std::get_if<WindowFilter>(&filter)) {
    const auto found = std::ranges::find(content.windows, window->windowID, &ShareableWindow::windowID);
    return found == content.windows.end() ? PointSize{} : found->frame.size;
  }
  const auto* display = std::get_if<DisplayFilter>(&filter);
  const std::uint32_t displayID =
      display ? display->displayID : std::get<ApplicationFilter>(filter).displayID;
  const auto found = std::ranges::find(content.displays, displayID, &ShareableDisplay::displayID);
  return found == content.displays.end() ? PointSize{} : found->bounds.size;
}

}  // namespace

FakeScreenCapture::FakeScreenCapture(Scheduler& scheduler)
    : content(ShareableContent{}), scheduler_(scheduler) {}

void FakeScreenCapture::shareableContent(ContentAnswer answer) {
  ++contentQueries_;
  refreshContent();
  if (holdsContentAnswers) {
    held_.push_back(std::move(answer));
    return;
  }
  scheduler_.execute([answer = std::move(answer), found = content]() mutable { answer(std::move(found)); });
}

void FakeScreenCapture::releaseContentAnswers() {
  refreshContent();
  for (ContentAnswer& answer : std::exchange(held_, {}))
    scheduler_.execute([answer = std::move(answer), found = content]() mutable { answer(std::move(found)); });
}

void FakeScreenCapture::refreshContent() {
  if (refresh && content) refresh(*content);
}

void FakeScreenCapture::geometry(const CaptureFilter& filter, GeometryAnswer answer) {
  refreshContent();
  auto give = [answer = std::move(answer), found = geometryOf(filter)]() mutable { answer(found); };
  if (holdsGeometryAnswers) {
    heldGeometry_.emplace_back(std::move(give));
  } else {
    scheduler_.execute(std::move(give));
  }
}

void FakeScreenCapture::releaseGeometryAnswers() {
  for (auto& give : std::exchange(heldGeometry_, {})) scheduler_.execute(std::move(give));
}

std::expected<FilterGeometry, PortError> FakeScreenCapture::geometryOf(const CaptureFilter& filter) const {
  if (geometryError) return std::unexpected(*geometryError);
  if (geometryOverride) return *geometryOverride;
  const PointSize size = content ? contentSizeOf(filter, *content) : PointSize{};
  if (size == PointSize{}) return std::unexpected(PortError{"gone", 0});
  return FilterGeometry{size, 1.0};
}

std::expected<std::unique_ptr<CaptureStream>, PortError> FakeScreenCapture::makeStream(
    const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
    CaptureStream::Handlers handlers) {
  if (makeError) return std::unexpected(*makeError);
  auto record = std::make_shared<Stream>();
  record->filter = filter;
  record->settings.push_back(settings);
  record->handlers = std::move(handlers);
  record->queue = queue;
  streams_.push_back(record);
  return std::make_unique<FakeCaptureStream>(std::move(record), startError, updateError, scheduler_);
}

std::size_t FakeScreenCapture::runningStreams() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(streams_, [](const auto& stream) { return stream->isRunning(); }));
}

void FakeScreenCapture::deliver(CapturedPicture picture) {
  auto record = streams_.back();
  record->queue->async([record, picture = std::move(picture)]() mutable {
    if (record->isRunning()) record->handlers.picture(std::move(picture));
  });
}

void FakeScreenCapture::deliverPicture(int tag, std::chrono::microseconds presentationTime,
                                       std::vector<PixelRect> changed) {
  CapturedPicture picture;
  picture.image = std::make_shared<FakePicture>(lastStream().settings.back().size, tag);
  picture.presentationTime = presentationTime;
  picture.changed = std::move(changed);
  deliver(std::move(picture));
}

void FakeScreenCapture::placeDisplay(const PointRect& rect) {
  auto record = streams_.back();
  record->queue->async([record, rect] {
    if (record->isRunning()) record->handlers.placed(rect);
  });
}

void FakeScreenCapture::endCapture(const PortError& error) {
  auto record = streams_.back();
  record->queue->async([record, error] {
    if (record->isRunning()) record->handlers.stopped(error);
  });
}

ShareableContent oneDisplay(PixelSize pixels, std::uint32_t displayID) {
  ShareableDisplay display;
  display.displayID = displayID;
  display.name = fmt::format("FAKE-{}", displayID);
  display.bounds = {{0, 0}, {static_cast<double>(pixels.width), static_cast<double>(pixels.height)}};
  display.isMain = true;
  ShareableContent content;
  content.displays.push_back(display);
  return content;
}

}  // namespace quorl::test
