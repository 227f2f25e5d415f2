// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

/// Texts about transfers of files. Pure functions, any thread.
namespace quorl::client {

using Elapsed = std::chrono::duration<double>;

/// "0 B", "999 B", "1.5 kB", "2.1 GB": decimal units, as rates of links are given.
std::string byteText(double bytes);

/// "0:07", "12:34", "2:00:05".
std::string timeText(Elapsed time);

/// At most 79 characters: name, bar, percentage, rate and time left. Without a known rate the last two are
/// missing. `name` is printable.
std::string progressText(std::string_view name, std::uint64_t done, std::uint64_t total, Elapsed elapsed);

/// "film.mkv: 2.1 GB in 1.9 s, 1.1 GB/s, SHA-256 1f2e... matches".
std::string resultText(std::string_view name, std::uint64_t bytes, Elapsed elapsed, ByteView sha256);

}  // namespace quorl::client
