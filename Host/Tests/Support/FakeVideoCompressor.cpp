// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeVideoCompressor.h>

#include <algorithm>
#include <utility>

namespace quorl::test {

namespace {

using Session = FakeVideoCompressorFactory::Session;

class FakeVideoCompressor : public VideoCompressor {
 public:
  FakeVideoCompressor(std::shared_ptr<Session> session, FakeVideoCompressorFactory& factory)
      : session_(std::move(session)),
        quantizer_(factory.quantizer),
        whileEncoding_(factory.whileEncoding),
        swallowsOutput_(factory.swallowsOutput) {}
  ~FakeVideoCompressor() override { session_->ended = true; }

  void setRates(const CompressionRates& rates) override { session_->rates.push_back(rates); }
  void prepare() override { session_->prepared = true; }
  void encode(const CompressionRequest& request) override {
    if (session_->ended) return;
    const std::size_t index = session_->requests.size();
    session_->requests.push_back(request);
    if (whileEncoding_) whileEncoding_(request);
    if (swallowsOutput_) return;
    CompressedPicture picture;
    picture.data = shareBytes({0, 0, 0, 1, static_cast<std::uint8_t>(index)});
    picture.isKeyFrame = request.forceKeyFrame || index == 0;
    picture.presentationTime = request.presentationTime;
    picture.configurationRecord = session_->configurationRecord;
    picture.coarseness.quantizer = quantizer_ ? quantizer_(request, index) : 20.0F;
    session_->output(picture);
  }
  void completeAndInvalidate() override { session_->ended = true; }

 private:
  std::shared_ptr<Session> session_;
  std::function<float(const CompressionRequest&, std::size_t)> quantizer_;
  std::function<void(const CompressionRequest&)> whileEncoding_;
  bool swallowsOutput_;
};

}  // namespace

std::expected<std::unique_ptr<VideoCompressor>, PortError> FakeVideoCompressorFactory::make(
    const CompressorSpecification& specification, VideoCompressor::Output output) {
  attempts_.push_back(specification.codec);
  const bool isHEVC = specification.codec == VideoCodec::hevc;
  const std::optional<int> failure = isHEVC ? hevcFailure : h264Failure;
  if (failure) return std::unexpected(PortError{"no such encoder", *failure});
  auto session = std::make_shared<Session>();
  session->specification = specification;
  session->output = std::move(output);
  session->configurationRecord = shareBytes(bytesOf(isHEVC ? "hvcC" : "avcC"));
  sessions_.push_back(session);
  return std::make_unique<FakeVideoCompressor>(std::move(session), *this);
}

std::size_t FakeVideoCompressorFactory::runningSessions() const {
  return static_cast<std::size_t>(std::ranges::count(sessions_, false, &Session::ended));
}

}  // namespace quorl::test
