// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// What the session files of command-line agents say about themselves. The files are JSON lines; all input is
/// foreign: a line of another shape is passed over.
namespace Transcript {

/// As much of a file as is ever looked at: the end of a transcript, the beginning of a Codex session.
inline constexpr std::size_t windowSize = 65536;
/// User-perceived characters.
inline constexpr std::size_t previewLength = 160;
/// And bytes: one character can be as long as its writer likes.
inline constexpr std::size_t previewSize = 4096;
/// What a file's name and its path can have (POSIX, NAME_MAX and PATH_MAX as Linux has them); longer fields
/// are cut.
inline constexpr std::size_t maxNameSize = 255;
inline constexpr std::size_t maxPathSize = 4095;

/// One line that tells a session from others: its last summary within `window`, else its first user message.
/// A window that is not UTF-8 as a whole has none.
std::optional<std::string> preview(ByteView window);

struct CodexMeta {
  std::string sessionID;
  std::string workingDirectory;

  bool operator==(const CodexMeta&) const = default;
};

/// What the first line of a Codex session says, `beginning` being the first bytes of the file.
std::optional<CodexMeta> codexMeta(ByteView beginning);

}  // namespace Transcript

}  // namespace quorl
