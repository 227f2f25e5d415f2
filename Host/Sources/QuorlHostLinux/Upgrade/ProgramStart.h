// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// What a program is started with.
struct ProgramStart {
  std::string path;
  std::vector<std::string> arguments;    // with the program's name
  std::vector<std::string> environment;  // "NAME=value"
};

struct TrialAnswer {
  bool isAccepted = false;
  std::string reason;  // of a refusal; for the log
};

/// The descriptor under which the program of a trial finds the file.
inline constexpr int trialDescriptor = 3;

/// Runs the program with `file` as `trialDescriptor` and waits for its exit status, for `limit` at most.
/// Whatever else it does than to exit with `accepted` is a refusal. It is killed and reaped in any case.
///
/// *Blocking*: up to `limit`, or until `cancel` becomes readable.
TrialAnswer tryProgram(const ProgramStart& program, int file, int accepted, std::chrono::milliseconds limit,
                       int cancel);

/// Replaces this process by the program, which inherits the standard streams and the descriptors in `kept`.
/// Returns only if that fails, with the number of the error; then `kept` are close-on-exec again.
int replaceProcess(const ProgramStart& program, const std::vector<int>& kept);

}  // namespace quorl
