// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/Sound.h>

namespace quorl::test {

/// A sound capture that delivers what a test plays.
///
/// *Queue*: the simulation's one thread.
class FakeSoundCapture : public SoundCapture {
 public:
  struct Stream {
    std::optional<SerialQueue> queue;
    SoundStream::Handlers handlers;
    bool started = false;
    bool stopped = false;
    bool released = false;
    bool releasedOnQueue = false;
    SoundStream::StartAnswer answer;  // while the capture holds its answers
  };

  std::expected<std::unique_ptr<SoundStream>, PortError> makeStream(const PCMFormat&, SerialQueue queue,
                                                                    SoundStream::Handlers handlers) override {
    if (makeError) return std::unexpected(*makeError);
    streams.push_back(std::make_shared<Stream>(Stream{queue, std::move(handlers)}));
    return std::make_unique<FakeStream>(*this, streams.back());
  }

  void play(PCMBuffer buffer) const {
    const auto stream = streams.back();
    stream->queue->async([stream, buffer = std::move(buffer)] {
      if (stream->started && !stream->stopped && !stream->released) stream->handlers.captured(buffer);
    });
  }
  std::size_t running() const {
    std::size_t count = 0;
    for (const auto& stream : streams) count += stream->started && !stream->stopped && !stream->released;
    return count;
  }

  std::optional<PortError> makeError;
  std::optional<PortError> startError;
  bool holdsAnswers = false;  // to starts
  std::vector<std::shared_ptr<Stream>> streams;

 private:
  class FakeStream : public SoundStream {
   public:
    FakeStream(FakeSoundCapture& owner, std::shared_ptr<Stream> state)
        : owner_(owner), state_(std::move(state)), error_(owner.startError) {}
    ~FakeStream() override {
      state_->released = true;
      state_->releasedOnQueue = state_->queue->isCurrent();
    }
    void start(StartAnswer answer) override {
      state_->started = !error_;
      if (owner_.holdsAnswers) {
        state_->answer = std::move(answer);
        return;
      }
      state_->queue->async([answer = std::move(answer), error = error_]() mutable { answer(error); });
    }
    void stop() override { state_->stopped = true; }

   private:
    FakeSoundCapture& owner_;
    std::shared_ptr<Stream> state_;
    std::optional<PortError> error_;
  };
};

/// A compressor that gives back what a test puts in `results`, and one packet "aac" when there is nothing.
class FakeSoundCompressors : public SoundCompressorFactory {
 public:
  using Result = std::expected<CompressedSound, PortError>;

  std::expected<std::unique_ptr<SoundCompressor>, PortError> make(const PCMFormat& input,
                                                                  const SoundCompression& output) override {
    if (makeError) return std::unexpected(*makeError);
    inputs.push_back(input);
    lastOutput = output;
    return std::make_unique<FakeCompressor>(*this);
  }

  static CompressedSound packets(const std::vector<Bytes>& parts) {
    CompressedSound sound;
    for (const Bytes& part : parts) {
      sound.packets.push_back({sound.data.size(), part.size()});
      sound.data.insert(sound.data.end(), part.begin(), part.end());
    }
    sound.packetCount = parts.size();
    return sound;
  }

  std::optional<PortError> makeError;
  std::vector<Result> results;  // the next first
  std::vector<PCMFormat> inputs;
  SoundCompression lastOutput;
  Bytes configuration;
  double sampleRate = 48'000;
  int channels = 2;

 private:
  class FakeCompressor : public SoundCompressor {
   public:
    explicit FakeCompressor(FakeSoundCompressors& owner) : owner_(owner) {}
    Result compress(ByteView) override {
      if (owner_.results.empty()) return packets({bytesOf("aac")});
      Result result = std::move(owner_.results.front());
      owner_.results.erase(owner_.results.begin());
      return result;
    }
    double sampleRate() const override { return owner_.sampleRate; }
    int channels() const override { return owner_.channels; }
    Bytes decoderConfiguration() const override { return owner_.configuration; }

   private:
    FakeSoundCompressors& owner_;
  };
};

}  // namespace quorl::test
