// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Displays/DisplayFactsReader.h>

#include <algorithm>
#include <array>

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::size_t edidSize = 128;

using Resources = XcbReply<xcb_randr_get_screen_resources_current_reply_t>;

std::string edidNameOf(X11Connection& connection, std::uint32_t output) {
  const XcbReply<xcb_randr_get_output_property_reply_t> reply(xcb_randr_get_output_property_reply(
      connection.xcb(),
      xcb_randr_get_output_property(connection.xcb(), output, connection.atom("EDID"),
                                    XCB_GET_PROPERTY_TYPE_ANY, 0, edidSize / 4, 0, 0),
      nullptr));
  if (!reply || reply->format != 8) return {};
  return monitorNameOf({xcb_randr_get_output_property_data(reply.get()),
                        static_cast<std::size_t>(xcb_randr_get_output_property_data_length(reply.get()))});
}

PixelSize preferredSize(const xcb_randr_get_output_info_reply_t& info, const Resources& resources) {
  if (xcb_randr_get_output_info_modes_length(&info) == 0) return {};
  // The preferred modes are the first ones of the list.
  const std::uint32_t mode = *xcb_randr_get_output_info_modes(&info);
  for (auto each = xcb_randr_get_screen_resources_current_modes_iterator(resources.get()); each.rem > 0;
       xcb_randr_mode_info_next(&each))
    if (each.data->id == mode) return {each.data->width, each.data->height};
  return {};
}

std::optional<ConnectedOutput> readOutput(X11Connection& connection, std::uint32_t output,
                                          const Resources& resources) {
  const XcbReply<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
      connection.xcb(), xcb_randr_get_output_info(connection.xcb(), output, resources->config_timestamp),
      nullptr));
  if (!info || info->connection != XCB_RANDR_CONNECTION_CONNECTED) return std::nullopt;
  return ConnectedOutput{
      .name = {reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
               static_cast<std::size_t>(xcb_randr_get_output_info_name_length(info.get()))},
      .monitorName = edidNameOf(connection, output),
      .preferred = preferredSize(*info, resources)};
}

DisplayFacts factsOf(const std::string& name, const std::string& monitorName, const PointRect& bounds) {
  const auto width = static_cast<std::int64_t>(bounds.size.width);
  const auto height = static_cast<std::int64_t>(bounds.size.height);
  DisplayFacts facts{.bounds = bounds,
                     .mode = {},
                     .name = monitorName.empty() ? name : monitorName,
                     .isBuiltIn = isBuiltInOutput(name),
                     .isMain = false};
  // A point is a pixel.
  if (width > 0) facts.mode = {.pixelWidth = width, .pixelHeight = height, .pointWidth = width};
  return facts;
}

}  // namespace

std::vector<ConnectedOutput> readOutputs(X11Connection& connection) {
  if (!connection.extensions().randr.present) return {};
  const Resources resources(xcb_randr_get_screen_resources_current_reply(
      connection.xcb(), xcb_randr_get_screen_resources_current(connection.xcb(), connection.root()),
      nullptr));
  if (!resources) return {};
  const std::uint32_t* first = xcb_randr_get_screen_resources_current_outputs(resources.get());
  const int count = xcb_randr_get_screen_resources_current_outputs_length(resources.get());
  std::vector<ConnectedOutput> outputs;
  for (int at = 0; at < count; ++at)
    if (auto output = readOutput(connection, first[at], resources)) outputs.push_back(std::move(*output));
  return outputs;
}

std::vector<KnownDisplay> knownDisplays(const std::vector<Monitor>& monitors,
                                        const std::vector<ConnectedOutput>& outputs) {
  std::vector<KnownDisplay> displays;
  for (const auto& display : displaysOf(monitors)) {
    const auto output = std::ranges::find(outputs, display.name, &ConnectedOutput::name);
    const std::string monitorName = output == outputs.end() ? "" : output->monitorName;
    DisplayFacts facts = factsOf(display.name, monitorName, display.bounds);
    facts.isMain = display.isMain;
    displays.push_back({.id = display.displayID, .isActive = true, .facts = std::move(facts)});
  }
  for (const auto& output : outputs) {
    const std::uint32_t id = displayIDOf(output.name);
    if (std::ranges::find(displays, id, &KnownDisplay::id) != displays.end()) continue;
    const PointRect bounds{{0, 0}, {double(output.preferred.width), double(output.preferred.height)}};
    displays.push_back(
        {.id = id, .isActive = false, .facts = factsOf(output.name, output.monitorName, bounds)});
  }
  return displays;
}

bool isBuiltInOutput(std::string_view name) {
  constexpr std::array<std::string_view, 3> connectors{"eDP", "LVDS", "DSI"};
  return std::ranges::any_of(connectors,
                             [name](std::string_view connector) { return name.starts_with(connector); });
}

std::string monitorNameOf(ByteView edid) {
  constexpr std::array<std::uint8_t, 8> header{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
  constexpr std::array<std::size_t, 4> descriptors{54, 72, 90, 108};
  constexpr std::array<std::uint8_t, 5> nameTag{0, 0, 0, 0xFC, 0};
  constexpr std::size_t longestName = 13;
  if (edid.size() < edidSize || !std::ranges::equal(edid.first(header.size()), header)) return {};
  for (const auto descriptor : descriptors) {
    if (!std::ranges::equal(edid.subspan(descriptor, nameTag.size()), nameTag)) continue;
    std::string name;
    for (const std::uint8_t byte : edid.subspan(descriptor + nameTag.size(), longestName)) {
      if (byte < 0x20 || byte > 0x7E) break;  // a line feed ends a short name
      name.push_back(static_cast<char>(byte));
    }
    while (name.ends_with(' ')) name.pop_back();
    return name;
  }
  return {};
}

}  // namespace quorl
