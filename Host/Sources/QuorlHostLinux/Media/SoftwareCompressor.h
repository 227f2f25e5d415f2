// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlHostLinux/Media/QuantizerControl.h>
#include <QuorlHostLinux/Media/SoftwareEncoding.h>

namespace quorl {

/// What the software encoders have in common: when a key frame is due, how fine each picture is, and the
/// account of the bits.
///
/// *Queue*: the port's; a picture is put out before `encode` returns.
class SoftwareCompressor : public VideoCompressor {
 public:
  void setRates(const CompressionRates& rates) final { control_.setRates(rates); }
  void prepare() final;
  void encode(const CompressionRequest& request) final;

 protected:
  enum class PictureType : std::uint8_t {
    predicted,
    fresh,  // predicted from nothing, since nothing like it was shown, but no place to begin decoding at
    key,
  };

  SoftwareCompressor(const CompressorSpecification& specification, Output output, int coarsestQuantizer);

  PixelSize size() const { return specification_.size; }
  const CompressorSpecification& specification() const { return specification_; }

  virtual bool isOpen() const = 0;
  /// Encodes one picture of the right size; gives its data, type and configuration record.
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
