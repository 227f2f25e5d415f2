// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// Writes a script with the name of a coding agent, which asks one question. Returns its path.
std::string writeAskingAgent(const TemporaryFolder& folder);

/// Finds the agent on this terminal in the process table, adopts its tab, waits until it needs attention,
/// answers its question, reads the answer in the tab, and ends it. Fails the test if a step fails.
void findAdoptAnswerAndEnd(const std::string& tty, std::shared_ptr<TerminalScripting> terminals);

}  // namespace quorl::test
