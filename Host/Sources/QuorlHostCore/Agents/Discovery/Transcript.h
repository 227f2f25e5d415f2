// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Reads the session files of command-line agents. They are JSON lines from another program; a line of
/// another form is skipped.
namespace Transcript {

/// The part of a file that is read: the end of a transcript, the start of a Codex session.
inline constexpr std::size_t windowSize = 65536;
/// User-perceived characters.
inline constexpr std::size_t previewLength = 160;
/// In bytes: a single character can be of any length.
inline constexpr std::size_t previewSize = 4096;
/// The maximum length of a file's name and path (POSIX NAME_MAX and PATH_MAX, as on Linux). Longer fields are
/// truncated.
inline constexpr std::size_t maxNameSize = 255;
inline constexpr std::size_t maxPathSize = 4095;

/// One line that identifies a session for a reader: its last summary within `window`, else its first user
/// message. Nothing if the window is not valid UTF-8.
std::optional<std::string> preview(ByteView window);

struct CodexMeta {
  std::string sessionID;
  std::string workingDirectory;

  bool operator==(const CodexMeta&) const = default;
};

/// The contents of the first line of a Codex session. `beginning`: the first bytes of the file.
std::optional<CodexMeta> codexMeta(ByteView beginning);

}  // namespace Transcript

}  // namespace quorl
