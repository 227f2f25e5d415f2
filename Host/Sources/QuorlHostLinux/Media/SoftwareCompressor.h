// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlHostLinux/Media/QuantizerControl.h>
#include <QuorlHostLinux/Media/SoftwareEncoding.h>

namespace quorl {

/// The common part of the software encoders: key frames by time, the quantiser of each picture, and the count
/// of bits.
///
/// *Queue*: that of the port; a picture is output before `encode` returns.
class SoftwareCompressor : public VideoCompressor {
 public:
  void setRates(const CompressionRates& rates) final { control_.setRates(rates); }
  void prepare() final;
  void encode(const CompressionRequest& request) final;

 protected:
  enum class PictureType : std::uint8_t {
    predicted,
    fresh,  // intra-coded, since nothing like it was shown, but no key frame
    key,
  };

  SoftwareCompressor(const CompressorSpecification& specification, Output output, int coarsestQuantizer);

  PixelSize size() const { return specification_.size; }
  const CompressorSpecification& specification() const { return specification_; }

  virtual bool isOpen() const = 0;
  /// Encodes one picture of the encoder's size. Returns its data, type and configuration record.
  virtual std::optional<CompressedPicture> compress(const CompressionRequest& request, PictureType type,
                                                    int quantizer) = 0;

 private:
  QuantizerControl::Picture measured(const CompressionRequest& request, PictureType type) const;
  bool isAllDifferent(const CompressionRequest& request) const;

  const CompressorSpecification specification_;
  const Output output_;
  QuantizerControl control_;
  KeyFrameClock keyFrames_;
  std::shared_ptr<const PictureBuffer> encoded_;  // the newest
};

}  // namespace quorl
