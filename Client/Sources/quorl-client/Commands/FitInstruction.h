// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <variant>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl::client {

/// What one line of the input of `fit` asks for.
namespace fitInstruction {
struct Nothing {
  bool operator==(const Nothing&) const = default;
};
struct Quit {
  bool operator==(const Quit&) const = default;
};
struct Fit {
  bool enabled = false;
  bool operator==(const Fit&) const = default;
};
struct Scale {
  double scale = 1;
  bool operator==(const Scale&) const = default;
};
struct View {
  PointSize size;
  bool operator==(const View&) const = default;
};
}  // namespace fitInstruction

using FitInstruction = std::variant<fitInstruction::Nothing, fitInstruction::Quit, fitInstruction::Fit,
                                    fitInstruction::Scale, fitInstruction::View>;

/// "view WxH", "fit on", "fit off", "scale S", "quit" or a blank line. Fails with a text for the user.
std::expected<FitInstruction, std::string> parseFitInstruction(std::string_view line);

}  // namespace quorl::client
