// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The names of the selection protocol (Inter-Client Communication Conventions Manual 2.0, section 2) and of
/// the forms of content.
///
/// *Queue*: pure after the construction, which waits for the server.
struct ClipboardAtoms {
  explicit ClipboardAtoms(X11Connection& connection);

  std::uint32_t clipboard;
  std::uint32_t targets;
  std::uint32_t timestamp;
  std::uint32_t multiple;
  std::uint32_t atomPair;
  std::uint32_t incr;
  std::uint32_t utf8String;
  std::uint32_t utf8Plain;         // text/plain;charset=utf-8
  std::uint32_t utf8PlainCapital;  // text/plain;charset=UTF-8
  std::uint32_t plain;             // text/plain, in practice UTF-8
  std::uint32_t anyText;           // TEXT: in an encoding of the owner's choice
  std::uint32_t string;            // STRING: ISO 8859-1
  std::uint32_t png;
  std::uint32_t tiff;
  std::uint32_t property;  // of ours, for content and for the server's time

  /// The form to ask for when the owner lists these targets. Rich text is asked for as plain text.
  std::optional<std::uint32_t> targetFor(PasteboardType type, std::span<const std::uint32_t> listed) const;
  /// The forms in which we offer content of this type.
  std::vector<std::uint32_t> targetsOf(PasteboardType type) const;
};

}  // namespace quorl
