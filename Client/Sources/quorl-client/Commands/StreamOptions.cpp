// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/StreamOptions.h>

#include <charconv>
#include <limits>

#include <fmt/format.h>

namespace quorl::client {
namespace {

Outcome<std::uint32_t> identifier(const Arguments& arguments, std::string_view option) {
  const auto value = arguments.integer(option, 0, 0, std::numeric_limits<std::uint32_t>::max());
  if (!value) return std::unexpected(value.error());
  return static_cast<std::uint32_t>(*value);
}

}  // namespace

std::optional<PointSize> parseView(std::string_view text) {
  constexpr double largestSide = 100'000;
  const auto cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  const auto side = [](std::string_view digits) -> std::optional<double> {
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return value >= 1 && value <= largestSide ? std::optional(value) : std::nullopt;
  };
  const auto width = side(text.substr(0, cross));
  const auto height = side(text.substr(cross + 1));
  return width && height ? std::optional(PointSize{*width, *height}) : std::nullopt;
}

std::vector<OptionSpec> targetOptionSpecs() {
  return {{"--display", "ID", "a display (default: the main one)"},
          {"--window", "ID", "a window"},
          {"--app", "ID", "the front window of an application, by its identifier"}};
}

std::vector<OptionSpec> streamOptionSpecs() {
  auto options = targetOptionSpecs();
  options.insert(options.end(), {{"--codec", "NAME", "h264 (default) or hevc; the host may choose the other"},
                                 {"--max", "PIXELS", "maximum length of the longer side (default 8192)"},
                                 {"--fps", "N", "maximum frame rate (default 60)"},
                                 {"--quality", "Q", "picture quality, 0 to 1 (default 0.8)"},
                                 {"--no-cursor", "", "do not draw the pointer"},
                                 {"--view", "WxH", "fit the window to a view of this size"},
                                 {"--udp", "", "receive pictures as datagrams"}});
  return options;
}

Outcome<StreamTarget> streamTargetOption(const Arguments& arguments) {
  const int given = (arguments.has("--display") ? 1 : 0) + (arguments.has("--window") ? 1 : 0) +
                    (arguments.has("--app") ? 1 : 0);
  if (given > 1)
    return failed(ExitCode::usage, "only one of --display, --window and --app can be used",
                  "'quorl_client info' lists displays, windows and applications.");
  if (arguments.has("--display")) {
    const auto id = identifier(arguments, "--display");
    if (!id) return std::unexpected(id.error());
    return StreamTarget(streamTarget::Display{*id});
  }
  if (arguments.has("--window")) {
    const auto id = identifier(arguments, "--window");
    if (!id) return std::unexpected(id.error());
    return StreamTarget(streamTarget::Window{*id});
  }
  if (const auto app = arguments.text("--app")) return StreamTarget(streamTarget::App{*app});
  return StreamTarget(streamTarget::Unified{});
}

Outcome<StreamOptions> streamOptions(const Arguments& arguments) {
  auto target = streamTargetOption(arguments);
  if (!target) return std::unexpected(target.error());
  const auto codec = fromRawValue<VideoCodec>(arguments.text("--codec").value_or("h264"));
  if (!codec) return failed(ExitCode::usage, "--codec must be h264 or hevc");
  const auto maximum = arguments.integer("--max", 8192, 2, 65536);
  if (!maximum) return std::unexpected(maximum.error());
  const auto rate = arguments.integer("--fps", 60, 1, 1000);
  if (!rate) return std::unexpected(rate.error());
  const auto quality = arguments.number("--quality", 0.8, 0, 1);
  if (!quality) return std::unexpected(quality.error());
  StreamOptions options;
  options.target = std::move(*target);
  options.config = {*maximum, *rate, *codec, *quality, !arguments.has("--no-cursor")};
  if (const auto text = arguments.text("--view")) {
    options.view = parseView(*text);
    if (!options.view) return failed(ExitCode::usage, "--view must be WIDTHxHEIGHT, such as 1024x768");
  }
  options.transport = arguments.has("--udp") ? VideoTransport::udp : VideoTransport::tcp;
  return options;
}

}  // namespace quorl::client
