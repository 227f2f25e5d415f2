// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/Resampler.h>

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace quorl::viewer {
namespace {

// The library compensates a number of samples over a distance; this distance makes the number parts per
// million. It is set again for every packet, long before it ends.
constexpr int distance = 1'000'000;

}  // namespace

void Resampler::Closer::operator()(SwrContext* context) const {
  swr_free(&context);
}

Resampler::Resampler(SoundFormat format) : format_(format) {
  AVChannelLayout layout;
  av_channel_layout_default(&layout, format.channels);
  SwrContext* context = nullptr;
  swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_S16, format.rate, &layout, AV_SAMPLE_FMT_S16,
                      format.rate, 0, nullptr);
  av_channel_layout_uninit(&layout);
  if (context == nullptr) return;
  // Resample although both rates are the same, with a delay of 8 samples, and between the filter's phases.
  av_opt_set_int(context, "flags", SWR_FLAG_RESAMPLE, 0);
  av_opt_set_int(context, "filter_size", 16, 0);
  av_opt_set_int(context, "linear_interp", 1, 0);
  av_opt_set_int(context, "exact_rational", 0, 0);
  context_.reset(context);
  if (swr_init(context) < 0) context_.reset();
}

void Resampler::add(std::span<const std::int16_t> samples, int stretch, std::vector<std::int16_t>& output) {
  if (!context_) {
    output.insert(output.end(), samples.begin(), samples.end());
    return;
  }
  swr_set_compensation(context_.get(), stretch, distance);
  const auto channels = static_cast<std::size_t>(format_.channels);
  const int frames = static_cast<int>(samples.size() / channels);
  const int most = swr_get_out_samples(context_.get(), frames);
  if (most <= 0) return;
  const std::size_t before = output.size();
  output.resize(before + static_cast<std::size_t>(most) * channels);
  auto* out = reinterpret_cast<std::uint8_t*>(output.data() + before);
  const auto* in = reinterpret_cast<const std::uint8_t*>(samples.data());
  const int made = swr_convert(context_.get(), &out, most, &in, frames);
  output.resize(before + static_cast<std::size_t>(made > 0 ? made : 0) * channels);
}

}  // namespace quorl::viewer
