// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/ClipboardAtoms.h>

#include <algorithm>

#include <xcb/xcb.h>

namespace quorl {

ClipboardAtoms::ClipboardAtoms(X11Connection& connection)
    : clipboard(connection.atom("CLIPBOARD")),
      targets(connection.atom("TARGETS")),
      timestamp(connection.atom("TIMESTAMP")),
      multiple(connection.atom("MULTIPLE")),
      atomPair(connection.atom("ATOM_PAIR")),
      incr(connection.atom("INCR")),
      utf8String(connection.atom("UTF8_STRING")),
      utf8Plain(connection.atom("text/plain;charset=utf-8")),
      utf8PlainCapital(connection.atom("text/plain;charset=UTF-8")),
      plain(connection.atom("text/plain")),
      anyText(connection.atom("TEXT")),
      string(XCB_ATOM_STRING),
      png(connection.atom("image/png")),
      tiff(connection.atom("image/tiff")),
      property(connection.atom("QUORL_CLIPBOARD")) {}

std::optional<std::uint32_t> ClipboardAtoms::targetFor(PasteboardType type,
                                                       std::span<const std::uint32_t> listed) const {
  const auto firstListed = [&](std::initializer_list<std::uint32_t> wanted) -> std::optional<std::uint32_t> {
    for (const auto target : wanted)
      if (target != XCB_NONE && std::ranges::find(listed, target) != listed.end()) return target;
    return std::nullopt;
  };
  switch (type) {
    case PasteboardType::text:
      return firstListed({utf8String, utf8Plain, utf8PlainCapital, string, plain});
    case PasteboardType::png:
      return firstListed({png});
    case PasteboardType::tiff:
      return firstListed({tiff});
  }
  return std::nullopt;
}

std::vector<std::uint32_t> ClipboardAtoms::targetsOf(PasteboardType type) const {
  switch (type) {
    case PasteboardType::text:
      return {utf8String, utf8Plain, plain, anyText, string};
    case PasteboardType::png:
      return {png};
    case PasteboardType::tiff:
      return {tiff};
  }
  return {};
}

}  // namespace quorl
