// SPDX-License-Identifier: GPL-3.0-or-later
#include "CaptureHarness.h"

#include <algorithm>
#include <cmath>
#include <future>

#include <gtest/gtest.h>

namespace quorl::test {

namespace {

constexpr std::chrono::seconds patience{20};

}  // namespace

std::uint32_t colorAt(const PictureBuffer& picture, int x, int y) {
  const auto column = static_cast<std::size_t>(x);
  const auto row = static_cast<std::size_t>(y);
  const double luma = 1.164384 * (picture.luma[row * picture.lumaStride + column] - 16);
  const std::uint8_t* chroma = picture.chroma + row / 2 * picture.chromaStride + column / 2 * 2;
  const double cb = chroma[0] - 128.0;
  const double cr = chroma[1] - 128.0;
  const auto channel = [](double value) {
    return static_cast<std::uint32_t>(std::clamp(std::lround(value), 0L, 255L));
  };
  return channel(luma + 1.596027 * cr) << 16 | channel(luma - 0.391762 * cb - 0.812968 * cr) << 8 |
         channel(luma + 2.017232 * cb);
}

int distance(std::uint32_t a, std::uint32_t b) {
  int most = 0;
  for (const int shift : {0, 8, 16}) {
    most = std::max(most, std::abs(int((a >> shift) & 0xFF) - int((b >> shift) & 0xFF)));
  }
  return most;
}

CaptureStream::Handlers Deliveries::handlers() {
  return {.picture =
              [this](CapturedPicture picture) {
                const std::scoped_lock lock(mutex_);
                pictures_.push_back(std::move(picture));
                if (stream_ != nullptr) stream_->requestPicture();
                changed_.notify_all();
              },
          .placed =
              [this](const PointRect& rect) {
                const std::scoped_lock lock(mutex_);
                places_.push_back(rect);
                changed_.notify_all();
              },
          .stopped =
              [this](const PortError& error) {
                const std::scoped_lock lock(mutex_);
                stopped_ = error;
                changed_.notify_all();
              }};
}

void Deliveries::follow(CaptureStream* stream) {
  const std::scoped_lock lock(mutex_);
  stream_ = stream;
}

std::optional<CapturedPicture> Deliveries::waitFor(
    const std::function<bool(const CapturedPicture&)>& condition, std::size_t seen) {
  std::unique_lock lock(mutex_);
  std::size_t next = seen;
  std::optional<CapturedPicture> found;
  changed_.wait_for(lock, patience, [&] {
    for (; next < pictures_.size(); ++next) {
      if (!pictures_[next].image || !condition(pictures_[next])) continue;
      found = pictures_[next];
      return true;
    }
    return false;
  });
  return found;
}

std::optional<CapturedPicture> Deliveries::waitForColor(int x, int y, std::uint32_t color, std::size_t seen) {
  return waitFor([&](const auto& picture) { return distance(colorAt(*picture.image, x, y), color) <= 4; },
                 seen);
}

std::optional<PortError> Deliveries::waitForStop() {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return stopped_.has_value(); });
  return stopped_;
}

bool Deliveries::waitForPlace(const PointRect& rect) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return !places_.empty() && places_.back() == rect; });
}

std::size_t Deliveries::count() {
  const std::scoped_lock lock(mutex_);
  return pictures_.size();
}

std::vector<CapturedPicture> Deliveries::all() {
  const std::scoped_lock lock(mutex_);
  return pictures_;
}

void Deliveries::release() {
  const std::scoped_lock lock(mutex_);
  for (auto& picture : pictures_) picture.image.reset();
}

ShareableContent CaptureHarness::content() {
  std::promise<ShareableContent> promise;
  auto future = promise.get_future();
  capture.shareableContent([&](auto answer) { promise.set_value(answer ? *answer : ShareableContent{}); });
  return future.get();
}

std::expected<FilterGeometry, PortError> CaptureHarness::geometry(const CaptureFilter& filter) {
  std::promise<std::expected<FilterGeometry, PortError>> promise;
  auto future = promise.get_future();
  capture.geometry(filter, [&](auto answer) { promise.set_value(answer); });
  return future.get();
}

std::expected<void, PortError> CaptureHarness::startResult(const CaptureFilter& filter,
                                                           const CaptureSettings& settings,
                                                           Deliveries& deliveries) {
  const auto stream = capture.makeStream(filter, settings, queue, deliveries.handlers());
  if (!stream) return std::unexpected(stream.error());
  std::promise<std::expected<void, PortError>> started;
  (*stream)->start([&](auto result) { started.set_value(result); });
  return started.get_future().get();
}

std::expected<std::unique_ptr<CaptureStream>, PortError> CaptureHarness::open(const CaptureFilter& filter,
                                                                              const CaptureSettings& settings,
                                                                              Deliveries& deliveries) {
  auto stream = capture.makeStream(filter, settings, queue, deliveries.handlers());
  if (stream) deliveries.follow(stream->get());
  return stream;
}

std::unique_ptr<CaptureStream> CaptureHarness::start(const CaptureFilter& filter,
                                                     const CaptureSettings& settings,
                                                     Deliveries& deliveries) {
  auto stream = open(filter, settings, deliveries);
  if (!stream) {
    ADD_FAILURE() << stream.error().description;
    return nullptr;
  }
  std::promise<std::expected<void, PortError>> started;
  (*stream)->start([&](auto result) { started.set_value(result); });
  const auto result = started.get_future().get();
  EXPECT_TRUE(result.has_value()) << (result ? "" : result.error().description);
  EXPECT_TRUE(!result || deliveries.waitFor([](const auto&) { return true; }).has_value());
  return std::move(*stream);
}

}  // namespace quorl::test
