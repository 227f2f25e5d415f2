// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlHostCore/Storage/BoundedList.h>
#include <QuorlHostCore/Storage/HostSupportPaths.h>
#include <QuorlKit/Protocol/RecordCoding.h>

/// One list of the user in a small private file: JSON, pretty-printed, with sorted keys.
namespace quorl::SmallJSONFile {

/// Nothing if the file is missing, damaged or unreadable. Takes as long as the disk does.
template <class Record>
std::optional<Record> read(FileStore& files, const std::string& directory, const std::string& name) {
  const auto bytes = files.read(HostSupportPaths::file(directory, name), maxStateFileSize);
  if (!bytes) return std::nullopt;
  auto record = decodeRecord<Record>(*bytes);
  if (!record) return std::nullopt;
  return std::move(*record);
}

/// Only logs a failure: memory keeps the change, and the next write repairs the file. Records that would make
/// the file too large to be read again are left out. Takes as long as the disk does.
template <class Record>
void write(FileStore& files, const std::string& directory, const std::string& name,
           const std::vector<Record>& records) {
  const auto report = [&](const std::string& description) {
    Log::app.error(fmt::format("host store write failed ({}): {}", name, description));
  };
  std::size_t leftOut = 0;
  const auto bytes = encodeWithin(
      maxStateFileSize, records,
      [](const std::vector<Record>& list) { return encodeRecord(list, JsonStyle::prettySorted); }, leftOut);
  if (!bytes) return report(bytes.error().text);
  if (leftOut > 0) report(fmt::format("{} record(s) too large to keep", leftOut));
  if (const auto made = files.createPrivateDirectory(directory); !made)
    return report(made.error().description);
  const auto written = files.writeAtomically(HostSupportPaths::file(directory, name), *bytes);
  if (!written) report(written.error().description);
}

}  // namespace quorl::SmallJSONFile
