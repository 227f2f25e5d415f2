// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/UserDirectory.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The output of dscl(1), the command line of the directory service. Pure functions, any thread.
namespace DirectoryText {

/// `dscl . -list /Users UniqueID`: a name and a uid in each line. Lines of another form are skipped.
std::vector<UserEntry> userList(std::string_view output);

/// The value of a key of `dscl . -read`, which prints a long value on the next line. Trimmed of blanks.
std::optional<std::string> value(std::string_view output, std::string_view key);

/// The value of "Picture" without quotes.
std::optional<std::string> picturePath(std::string_view output);

/// The value of "JPEGPhoto", which is printed as hexadecimal digits.
std::optional<Bytes> jpegPhoto(std::string_view output);

/// The bytes of the hexadecimal digits in the text; other characters are ignored, and so is an odd digit at
/// the end. Nothing without a byte.
std::optional<Bytes> dataFromHex(std::string_view text);

}  // namespace DirectoryText

}  // namespace quorl
