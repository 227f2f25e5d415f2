// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// A script named as a coding agent is, which asks one question; its path.
std::string writeAskingAgent(const TemporaryFolder& folder);

/// Finds the asking agent that runs on this terminal in the process table, adopts its tab, waits until it
/// calls for a human, answers it, reads the answer in the tab, and ends it. Fails the test where that does
/// not go.
void findAdoptAnswerAndEnd(const std::string& tty, std::shared_ptr<TerminalScripting> terminals);

}  // namespace quorl::test
