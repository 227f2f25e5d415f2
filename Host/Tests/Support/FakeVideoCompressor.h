// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl::test {

/// Creates encoders that record their calls and put out a few bytes for each picture at once. The first
/// picture and forced ones are key frames.
///
/// *Queue*: the simulation's one thread.
/// *Lifetime*: encoders may outlive it.
class FakeVideoCompressorFactory : public VideoCompressorFactory {
 public:
  struct Session {
    CompressorSpecification specification;
    std::vector<CompressionRates> rates;
    std::vector<CompressionRequest> requests;
    VideoCompressor::Output output;
    bool prepared = false;
    bool ended = false;
    SharedBytes configurationRecord;
  };

  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) override;

  /// Codecs that fail to be created, with the status of the error.
  std::optional<int> hevcFailure;
  std::optional<int> h264Failure;
  /// The quantiser of a picture, given the number of pictures before it in the session.
  std::function<float(const CompressionRequest&, std::size_t index)> quantizer;
  /// Runs inside `encode`: what happens while the encoder works.
  std::function<void(const CompressionRequest&)> whileEncoding;
  bool swallowsOutput = false;

  const std::vector<std::shared_ptr<Session>>& sessions() const { return sessions_; }
  Session& lastSession() const { return *sessions_.back(); }
  std::size_t runningSessions() const;
  /// The codecs of all attempts, including failed ones.
  const std::vector<VideoCodec>& attempts() const { return attempts_; }

 private:
  std::vector<std::shared_ptr<Session>> sessions_;
  std::vector<VideoCodec> attempts_;
};

}  // namespace quorl::test
