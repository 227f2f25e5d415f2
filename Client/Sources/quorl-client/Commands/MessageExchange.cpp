// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/MessageExchange.h>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {

Outcome<void> awaitMessage(Session& session, Deadline deadline, std::string_view errorFamily,
                           std::string_view tooLate, const std::function<bool(const ControlMessage&)>& take) {
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received)
      return failed(ExitCode::timedOut, std::string(tooLate),
                    "The host may be busy; try a longer --timeout.");
    const auto* error = std::get_if<message::Error>(&**received);
    if (error != nullptr && error->_0.code.starts_with(errorFamily))
      return failed(ExitCode::failure, fmt::format("the host refused: {} ({})", printable(error->_0.message),
                                                   printable(error->_0.code)));
    if (take(**received)) return {};
  }
}

}  // namespace quorl::client
