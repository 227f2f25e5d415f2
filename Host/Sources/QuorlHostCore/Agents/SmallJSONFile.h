// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <fmt/format.h>

#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlHostCore/Runtime/HostSupportPaths.h>
#include <QuorlHostCore/Runtime/Log.h>
#include <QuorlKit/Protocol/RecordCoding.h>

/// A list of the user's in one small private file: JSON, pretty-printed, keys sorted.
namespace quorl::SmallJSONFile {

/// More than any such list needs; a larger file is not ours.
inline constexpr std::size_t maxSize = 16U << 20;

/// Nothing where the file is missing, damaged or not to be read.
template <class Record>
std::optional<Record> read(FileStore& files, const std::string& directory, const std::string& name) {
  const auto bytes = files.read(HostSupportPaths::file(directory, name), maxSize);
  if (!bytes) return std::nullopt;
  auto record = decodeRecord<Record>(*bytes);
  if (!record) return std::nullopt;
  return std::move(*record);
}

/// A failure is logged and nothing else: memory keeps the change, and the next write repairs the file.
template <class Record>
void write(FileStore& files, const std::string& directory, const std::string& name, const Record& record) {
  const auto report = [&](const std::string& description) {
    Log::app.error(fmt::format("host store write failed ({}): {}", name, description));
  };
  const auto bytes = encodeRecord(record, JsonStyle::prettySorted);
  if (!bytes) return report(bytes.error().text);
  if (const auto made = files.createPrivateDirectory(directory); !made)
    return report(made.error().description);
  const auto written = files.writeAtomically(HostSupportPaths::file(directory, name), *bytes);
  if (!written) report(written.error().description);
}

}  // namespace quorl::SmallJSONFile
