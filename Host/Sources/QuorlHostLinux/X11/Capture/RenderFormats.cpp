// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/RenderFormats.h>

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

bool isBGR(const xcb_render_pictforminfo_t& info) {
  const auto& direct = info.direct;
  return info.type == XCB_RENDER_PICT_TYPE_DIRECT && (info.depth == 24 || info.depth == 32) &&
         direct.red_shift == 16 && direct.red_mask == 0xFF && direct.green_shift == 8 &&
         direct.green_mask == 0xFF && direct.blue_shift == 0 && direct.blue_mask == 0xFF;
}

}  // namespace

RenderFormats::RenderFormats(X11Connection& connection) {
  const auto* extension = xcb_get_extension_data(connection.xcb(), &xcb_render_id);
  if (extension != nullptr && extension->present != 0) read(connection);
}

RenderFormats::Format RenderFormats::ofVisual(std::uint32_t visual) const {
  const auto found = ofVisual_.find(visual);
  return found == ofVisual_.end() ? Format{} : found->second;
}

void RenderFormats::read(X11Connection& connection) {
  xcb_connection_t* xcb = connection.xcb();
  const auto versionCookie = xcb_render_query_version(xcb, 0, 11);
  const auto formatsCookie = xcb_render_query_pict_formats(xcb);
  const XcbReply<xcb_render_query_version_reply_t> version(
      xcb_render_query_version_reply(xcb, versionCookie, nullptr));
  const XcbReply<xcb_render_query_pict_formats_reply_t> formats(
      xcb_render_query_pict_formats_reply(xcb, formatsCookie, nullptr));
  if (!version || !formats) return;
  std::map<std::uint32_t, Format> byID;
  for (auto each = xcb_render_query_pict_formats_formats_iterator(formats.get()); each.rem > 0;
       xcb_render_pictforminfo_next(&each)) {
    const auto& info = *each.data;
    byID[info.id] = {.id = info.id, .hasAlpha = info.direct.alpha_mask != 0, .isBGR = isBGR(info)};
  }
  for (auto screens = xcb_render_query_pict_formats_screens_iterator(formats.get()); screens.rem > 0;
       xcb_render_pictscreen_next(&screens)) {
    for (auto depths = xcb_render_pictscreen_depths_iterator(screens.data); depths.rem > 0;
         xcb_render_pictdepth_next(&depths)) {
      for (auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data); visuals.rem > 0;
           xcb_render_pictvisual_next(&visuals)) {
        ofVisual_[visuals.data->visual] = byID[visuals.data->format];
      }
    }
  }
  for (auto screens = xcb_setup_roots_iterator(xcb_get_setup(xcb)); screens.rem > 0;
       xcb_screen_next(&screens)) {
    if (screens.data->root != connection.root()) continue;
    root_ = ofVisual(screens.data->root_visual);
    rootDepth_ = screens.data->root_depth;
  }
}

}  // namespace quorl
