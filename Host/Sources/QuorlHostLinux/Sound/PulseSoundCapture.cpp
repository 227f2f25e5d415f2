// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/PulseSoundCapture.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostLinux/Sound/MonitorRecorder.h>
#include <QuorlHostLinux/Sound/PulseLoop.h>

namespace quorl {

namespace {

// Fragments that may wait for the stream's queue: over half a second. More are dropped.
constexpr std::size_t mostWaiting = 64;

bool isSupported(const PCMFormat& format) {
  return format.sampleRate >= 1 && format.sampleRate <= static_cast<int>(PA_RATE_MAX) &&
         format.channels >= 1 && format.channels <= static_cast<int>(PA_CHANNELS_MAX);
}

/// What the loop's thread and the stream's queue share. The handlers are called, and `isOver` is read and
/// written, on the queue only.
struct Delivery {
  Delivery(SerialQueue queue_, const PCMFormat& format_, SoundStream::Handlers handlers_)
      : queue(std::move(queue_)), format(format_), handlers(std::move(handlers_)) {}

  const SerialQueue queue;
  const PCMFormat format;
  const SoundStream::Handlers handlers;
  std::atomic<std::size_t> waiting = 0;
  bool isOver QUORL_GUARDED_BY(queue) = false;
  SoundStream::StartAnswer answer QUORL_GUARDED_BY(queue);
};

void deliver(const std::shared_ptr<Delivery>& delivery, ByteView samples) {
  if (delivery->waiting >= mostWaiting) return;
  ++delivery->waiting;
  delivery->queue.async([delivery, bytes = Bytes(samples.begin(), samples.end())]() mutable {
    delivery->queue.assertCurrent();
    --delivery->waiting;
    if (!delivery->isOver) delivery->handlers.captured({delivery->format, std::move(bytes)});
  });
}

void answerStart(const std::shared_ptr<Delivery>& delivery) {
  delivery->queue.async([delivery] {
    delivery->queue.assertCurrent();
    if (auto answer = std::exchange(delivery->answer, nullptr)) answer(std::nullopt);
  });
}

/// Logs why there is no sound once, until there is some.
class Complaint {
 public:
  void about(const std::string& why) {
    if (!std::exchange(isMade_, true))
      Log::audio.error(fmt::format("audio capture waits for the sound server: {}", why));
  }
  void isOver() { isMade_ = false; }

 private:
  bool isMade_ = false;
};

}  // namespace

/// The recorders of the running streams, on a thread that the first one starts.
class PulseSoundCapture::Recorders {
 public:
  using ID = std::uint64_t;

  ID add(std::shared_ptr<Delivery> delivery) {
    const ID id = ++lastID_;
    PulseLoop& loop = startedLoop();
    loop.post([this, &loop, id, delivery = std::move(delivery)] {
      const auto complaint = std::make_shared<Complaint>();
      recorders_[id] = std::make_unique<MonitorRecorder>(
          loop, delivery->format,
          MonitorRecorder::Handlers{
              .recording =
                  [delivery, complaint] {
                    complaint->isOver();
                    answerStart(delivery);
                  },
              .captured = [delivery](ByteView samples) { deliver(delivery, samples); },
              .failed = [complaint](const std::string& why) { complaint->about(why); }});
    });
    return id;
  }

  void remove(ID id) {
    startedLoop().post([this, id] { recorders_.erase(id); });
  }

 private:
  PulseLoop& startedLoop() {
    const std::lock_guard lock(mutex_);
    if (!loop_) loop_ = std::make_unique<PulseLoop>([this] { recorders_.clear(); });
    return *loop_;
  }

  std::atomic<ID> lastID_ = 0;
  std::map<ID, std::unique_ptr<MonitorRecorder>> recorders_;  // the loop's thread
  std::mutex mutex_;                                          // guards the creation of the loop
  // Last, so that its thread ends before the members it uses.
  std::unique_ptr<PulseLoop> loop_;
};

class PulseSoundCapture::Stream final : public SoundStream {
 public:
  Stream(std::shared_ptr<Recorders> recorders, std::shared_ptr<Delivery> delivery)
      : recorders_(std::move(recorders)), delivery_(std::move(delivery)) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() override { end(); }

  void start(StartAnswer answer) override {
    delivery_->queue.assertCurrent();
    if (recorder_ || delivery_->isOver) return;
    delivery_->answer = std::move(answer);
    recorder_ = recorders_->add(delivery_);
  }
  void stop() override { end(); }

 private:
  void end() {
    delivery_->queue.assertCurrent();
    delivery_->isOver = true;
    delivery_->answer = nullptr;
    if (recorder_) recorders_->remove(*recorder_);
    recorder_.reset();
  }

  const std::shared_ptr<Recorders> recorders_;
  const std::shared_ptr<Delivery> delivery_;
  std::optional<Recorders::ID> recorder_;
};

PulseSoundCapture::PulseSoundCapture() : recorders_(std::make_shared<Recorders>()) {}
PulseSoundCapture::~PulseSoundCapture() = default;

std::expected<std::unique_ptr<SoundStream>, PortError> PulseSoundCapture::makeStream(
    const PCMFormat& wanted, SerialQueue queue, SoundStream::Handlers handlers) {
  if (!isSupported(wanted))
    return std::unexpected(PortError{
        fmt::format("no sound of {} channels at {} Hz", wanted.channels, wanted.sampleRate), EINVAL});
  return std::make_unique<Stream>(recorders_,
                                  std::make_shared<Delivery>(std::move(queue), wanted, std::move(handlers)));
}

}  // namespace quorl
