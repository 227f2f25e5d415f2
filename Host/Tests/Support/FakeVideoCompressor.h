// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl::test {

/// Makes encoders that record what they are asked and put out a few bytes for each picture at once, the first
/// one and the forced ones as key frames.
///
/// *Queue*: the simulation's one thread. *Lifetime*: encoders may outlive it.
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

  /// The codecs that cannot be made, with the status that says why.
  std::optional<int> hevcFailure;
  std::optional<int> h264Failure;
  /// How coarse a picture comes out, given the number of pictures before it in the session.
  std::function<float(const CompressionRequest&, std::size_t index)> quantizer;
  /// Runs inside `encode`: what else happens while the encoder works.
  std::function<void(const CompressionRequest&)> whileEncoding;
  bool swallowsOutput = false;

  const std::vector<std::shared_ptr<Session>>& sessions() const { return sessions_; }
  Session& lastSession() const { return *sessions_.back(); }
  std::size_t runningSessions() const;
  /// The codecs of all attempts, failed ones too.
  const std::vector<VideoCodec>& attempts() const { return attempts_; }

 private:
  std::vector<std::shared_ptr<Session>> sessions_;
  std::vector<VideoCodec> attempts_;
};

}  // namespace quorl::test
